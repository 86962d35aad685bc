# The project's entry points. `make demo` and `make test` work on a fresh machine:
# each installs what is missing, configures, builds and runs.
# The project's own builds treat warnings as errors (KY_WERROR); a plain CMake build does not.
JOBS      ?= 2
CMAKE     ?= cmake
# The Debian interpreter, which has numpy and pytest from apt (another python3 may come first on PATH).
PYTHON    ?= $(firstword $(wildcard /usr/bin/python3) python3)
GEN       := -G Ninja -DKY_WERROR=ON -DPython3_EXECUTABLE=$(PYTHON)
CTEST_ARGS ?= --output-on-failure -j $(JOBS) --timeout 240
PREFIX    ?=
FUZZ_SECONDS ?= 60
# The sanitizer and Release builds check the library, the simulator, the C++ interface and
# the tools; the Python module (which would need the sanitizer runtime preloaded into the
# interpreter) and the examples are built and run by `make test` only.
SANITIZER_SCOPE := -DKY_BUILD_PYTHON=OFF -DKY_BUILD_EXAMPLES=OFF

.PHONY: all deps build test release bench sanitize tsan fuzz demo install clean

all: build

deps:
	@bash scripts/install-deps

# Configured again when this file changes, so that a build directory made before picks up
# the options set here. The tests run against what users build: Release (-O3).
build/build.ninja: Makefile | deps
	$(CMAKE) -S . -B build $(GEN) -DCMAKE_BUILD_TYPE=Release

build: deps build/build.ninja
	$(CMAKE) --build build -j $(JOBS)

test: build
	cd build && ctest $(CTEST_ARGS)

demo: deps build/build.ninja
	$(CMAKE) --build build -j $(JOBS) --target demo
	./build/examples/demo

# What users build, Release (-O3), with the test suites run against it: the same build as
# `make test`.
release: test

bench: deps
	$(CMAKE) -S . -B build-bench $(GEN) -DCMAKE_BUILD_TYPE=Release -DKY_BUILD_BENCH=ON -DKY_BUILD_TESTS=OFF
	$(CMAKE) --build build-bench -j $(JOBS)
	bash scripts/run-bench build-bench

sanitize: deps
	$(CMAKE) -S . -B build-asan $(GEN) -DCMAKE_BUILD_TYPE=Debug -DKY_SANITIZE=address $(SANITIZER_SCOPE)
	$(CMAKE) --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest $(CTEST_ARGS)

# ThreadSanitizer build; runs every suite (most of them drive several threads).
tsan: deps
	$(CMAKE) -S . -B build-tsan $(GEN) -DCMAKE_BUILD_TYPE=Debug -DKY_SANITIZE=thread $(SANITIZER_SCOPE)
	$(CMAKE) --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 setarch $$(uname -m) -R ctest $(CTEST_ARGS)

# libFuzzer targets (clang) for every parser that reads network bytes, each run
# FUZZ_SECONDS seconds; fails on any crash (the input is kept in build-fuzz/artifacts/).
fuzz: deps
	bash scripts/run-fuzz $(FUZZ_SECONDS)

# `make install PREFIX=/opt/kyarm` installs elsewhere than the configured prefix.
install: build
	$(CMAKE) --install build $(if $(PREFIX),--prefix $(PREFIX))

clean:
	rm -rf build build-asan build-tsan build-bench build-fuzz
