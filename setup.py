"""Builds the extension kyarm._kyarm with the project's CMake build (see pyproject.toml).

The configure step turns the tests and the examples off; set CMAKE_ARGS to add options
(for instance -DCMAKE_CXX_COMPILER_LAUNCHER=ccache) and KY_BUILD_JOBS for the build's
parallelism (default: the processor count).
"""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


def version():
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(kyarm VERSION ([0-9.]+)", text).group(1)


class CMakeBuild(build_ext):
    """Configures and builds target _kyarm, then puts the module where setuptools wants it."""

    def build_extension(self, ext):
        build_dir = pathlib.Path(self.build_temp).resolve() / "cmake"
        build_dir.mkdir(parents=True, exist_ok=True)
        configure = ["cmake", "-S", str(ROOT), "-B", str(build_dir),
                     "-DCMAKE_BUILD_TYPE=Release", "-DKY_BUILD_TESTS=OFF", "-DKY_BUILD_EXAMPLES=OFF",
                     "-DKY_BUILD_PYTHON=ON", f"-DPython3_EXECUTABLE={sys.executable}"]
        if shutil.which("ninja"):
            configure += ["-G", "Ninja"]
        configure += shlex.split(os.environ.get("CMAKE_ARGS", ""))
        if not (build_dir / "CMakeCache.txt").exists() or "CMAKE_ARGS" in os.environ:
            subprocess.run(configure, check=True)
        jobs = os.environ.get("KY_BUILD_JOBS", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "--build", str(build_dir), "--target", "_kyarm", "-j", jobs], check=True)
        built = sorted((build_dir / "python" / "kyarm").glob("_kyarm*.so"))
        if not built:
            raise RuntimeError("the CMake build did not produce kyarm/_kyarm*.so (pybind11 or numpy missing?)")
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(built[-1], target)


# Everything setuptools writes goes below build-pip/, away from the CMake build trees.
(ROOT / "build-pip").mkdir(exist_ok=True)
setup(
    version=version(),
    ext_modules=[Extension("kyarm._kyarm", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    options={"build": {"build_base": "build-pip"}, "egg_info": {"egg_base": "build-pip"}},
)
