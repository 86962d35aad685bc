#!/usr/bin/env bash
# Installs a built tree into a scratch prefix, moves that prefix elsewhere (nothing may
# depend on the path it was installed to), then builds and runs a small C host program
# against it four ways: CMake find_package with kyarm::kyarm and kyarm::kyarm_static,
# pkg-config for the shared library and pkg-config --static for the archive. Also checks
# that the shared target needs no cJSON and that headers and documents are installed, and
# builds a C++ host with the header-only interface (kyarm::kyarm_cpp).
#
#   check-install.sh BUILD_DIR SOURCE_DIR WORK_DIR VERSION LIBDIR [CMAKE_GENERATOR]
set -euo pipefail

build=$1 src=$2 work=$3 version=$4 libdir=$5 generator=${6:-}
cmake=${CMAKE:-cmake}
cc=${CC:-cc}

fail() { echo "check-install: FAILED: $*" >&2; exit 1; }
step() { echo "check-install: $*"; }

rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$work/staged" > "$work/install.log" || fail "cmake --install (see $work/install.log)"
mv "$work/staged" "$work/prefix"
prefix=$work/prefix

# ------------------------------------------------------------ installed files
for f in include/ky_api.h include/kyarm.hpp include/kyarm/cpp/core.hpp "$libdir/libkyarm.a" "$libdir/pkgconfig/kyarm.pc" \
         "$libdir/cmake/kyarm/kyarmConfig.cmake" "$libdir/cmake/kyarm/kyarmStaticTargets.cmake" \
         share/doc/kyarm/LICENSE share/doc/kyarm/README.md share/doc/kyarm/examples/demo.c; do
  [ -f "$prefix/$f" ] || fail "$f is not installed"
done
ls "$prefix/$libdir"/libkyarm.so.* > /dev/null 2>&1 || fail "the shared library is not installed"
for h in "$src"/include/kyarm/*.h; do
  cmp -s "$h" "$prefix/include/kyarm/$(basename "$h")" || fail "include/kyarm/$(basename "$h") is not installed"
done
if grep -rqF "$work/staged" "$prefix/$libdir/pkgconfig" "$prefix/$libdir/cmake"; then
  fail "the package files name the directory they were installed to"
fi

# Runs a built consumer and checks what it prints; $2: "shared" or "static" linkage expected.
run_consumer() {
  local exe=$1 linkage=$2 out
  local needed
  needed=$(readelf -d "$exe" | grep NEEDED || true)
  if [ "$linkage" = shared ]; then
    grep -q 'libkyarm\.so' <<< "$needed" || fail "$exe does not load libkyarm.so"
  else
    ! grep -q 'libkyarm' <<< "$needed" || fail "$exe loads libkyarm.so instead of holding the archive"
  fi
  out=$("$exe") || fail "$exe exited with $?"
  [[ "$out" == "kyarm $version"* ]] || fail "$exe printed '$out', expected kyarm $version..."
  step "$(basename "$exe") ($linkage): $out"
}

gen=()
[ -n "$generator" ] && gen=(-G "$generator")

# ------------------------------------------------------------ CMake: both targets
"$cmake" -S "$src/tests/install/consumer" -B "$work/cmake-both" "${gen[@]}" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release > "$work/cmake-both.log" 2>&1 || { cat "$work/cmake-both.log"; fail "configure with find_package(kyarm COMPONENTS static)"; }
"$cmake" --build "$work/cmake-both" > "$work/cmake-both-build.log" 2>&1 || { cat "$work/cmake-both-build.log"; fail "build against kyarm::kyarm and kyarm::kyarm_static"; }
run_consumer "$work/cmake-both/use_shared" shared
run_consumer "$work/cmake-both/use_static" static
run_consumer "$work/cmake-both/use_cpp" shared

# ------------------------------------------------------------ CMake: shared only, no cJSON
"$cmake" -S "$src/tests/install/consumer" -B "$work/cmake-shared" "${gen[@]}" -DCMAKE_PREFIX_PATH="$prefix" \
  -DUSE_STATIC=OFF -DCMAKE_DISABLE_FIND_PACKAGE_cJSON=ON > "$work/cmake-shared.log" 2>&1 \
  || { cat "$work/cmake-shared.log"; fail "find_package(kyarm) without cJSON"; }
"$cmake" --build "$work/cmake-shared" > "$work/cmake-shared-build.log" 2>&1 || { cat "$work/cmake-shared-build.log"; fail "build against kyarm::kyarm"; }
run_consumer "$work/cmake-shared/use_shared" shared

# The static component cannot be had without cJSON: find_package must say so.
if "$cmake" -S "$src/tests/install/consumer" -B "$work/cmake-nocjson" "${gen[@]}" -DCMAKE_PREFIX_PATH="$prefix" \
     -DCMAKE_DISABLE_FIND_PACKAGE_cJSON=ON > "$work/cmake-nocjson.log" 2>&1; then
  fail "find_package(kyarm COMPONENTS static) succeeded without cJSON"
fi

# ------------------------------------------------------------ pkg-config
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}
[ "$(pkg-config --modversion kyarm)" = "$version" ] || fail "pkg-config --modversion kyarm"
pc_libdir=$(pkg-config --variable=libdir kyarm)
[ "$(cd "$pc_libdir" && pwd -P)" = "$(cd "$prefix/$libdir" && pwd -P)" ] || fail "pkg-config libdir $pc_libdir"

read -r -a cflags <<< "$(pkg-config --cflags kyarm)"
read -r -a libs <<< "$(pkg-config --libs kyarm)"
"$cc" "$src/tests/install/consumer/use_kyarm.c" "${cflags[@]}" "${libs[@]}" -Wl,-rpath,"$pc_libdir" \
  -o "$work/pc_shared" || fail "cc \$(pkg-config --cflags --libs kyarm)"
run_consumer "$work/pc_shared" shared

# The archive: every other library it needs must come from pkg-config --static.
read -r -a static_libs <<< "$(pkg-config --static --libs kyarm)"
for i in "${!static_libs[@]}"; do
  [ "${static_libs[$i]}" = -lkyarm ] && static_libs[$i]=-l:libkyarm.a
done
"$cc" "$src/tests/install/consumer/use_kyarm.c" "${cflags[@]}" "${static_libs[@]}" -o "$work/pc_static" \
  || fail "cc with \$(pkg-config --static --libs kyarm) and the archive"
run_consumer "$work/pc_static" static

step "every consumer built and ran"
