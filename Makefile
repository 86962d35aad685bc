# The project's entry points. `make demo` and `make test` work on a fresh machine:
# each installs what is missing, configures, builds and runs.
JOBS      ?= 2
CMAKE     ?= cmake
GEN       := -G Ninja
CTEST_ARGS ?= --output-on-failure -j $(JOBS) --timeout 240

.PHONY: all deps build test bench sanitize tsan demo install clean

all: build

deps:
	@bash scripts/install-deps

build/build.ninja: | deps
	$(CMAKE) -S . -B build $(GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps build/build.ninja
	$(CMAKE) --build build -j $(JOBS)

test: build
	cd build && ctest $(CTEST_ARGS)

demo: build
	./build/examples/demo

bench: deps
	$(CMAKE) -S . -B build-bench $(GEN) -DCMAKE_BUILD_TYPE=Release -DKY_BUILD_BENCH=ON -DKY_BUILD_TESTS=OFF
	$(CMAKE) --build build-bench -j $(JOBS)
	bash scripts/run-bench build-bench

sanitize: deps
	$(CMAKE) -S . -B build-asan $(GEN) -DCMAKE_BUILD_TYPE=Debug -DKY_SANITIZE=address
	$(CMAKE) --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest $(CTEST_ARGS)

# ThreadSanitizer build; runs every suite (most of them drive several threads).
tsan: deps
	$(CMAKE) -S . -B build-tsan $(GEN) -DCMAKE_BUILD_TYPE=Debug -DKY_SANITIZE=thread
	$(CMAKE) --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 setarch $$(uname -m) -R ctest $(CTEST_ARGS)

install: build
	$(CMAKE) --install build

clean:
	rm -rf build build-asan build-tsan build-bench
