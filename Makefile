# make run   installs what is missing, builds and starts the editor
# make test  installs what is missing, builds and runs every test
# make bench builds the benchmarks in Release and prints the side-by-side table
BUILD ?= build
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test bench fuzz sanitize clean

all: build

deps:
	scripts/install-deps

configure: deps
	cmake -S . -B $(BUILD) -G Ninja $(CMAKE_ARGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/morvel

test: build
	scripts/run-tests $(BUILD)

# Benchmarks have a build of their own (Release) and never run with the tests.
BENCH_BUILD ?= build-bench
BENCH_JOBS ?= 2
BENCH_TARGETS = morvel_highlight bench_keystrokes bench_typing bench_open bench_search bench_language bench_remote bench_index
bench: deps
	cmake -S . -B $(BENCH_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DMORVEL_BUILD_TESTS=OFF
	cmake --build $(BENCH_BUILD) -j $(BENCH_JOBS) --target $(BENCH_TARGETS)
	bench/run --build $(BENCH_BUILD) --output $(BENCH_BUILD)/bench-results.md

# Fuzz targets for the readers of outside input: clang, a build of their own,
# FUZZ_SECONDS per target (corpus and findings stay in the build directory).
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?= fuzz_property_list fuzz_syntax_definition fuzz_colouring fuzz_listing
fuzz: deps
	scripts/install-deps --fuzz
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DMORVEL_BUILD_FUZZ=ON -DMORVEL_BUILD_TESTS=OFF -DMORVEL_BUILD_BENCH=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(FUZZ_TARGETS)
	tests/fuzz/run $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

sanitize:
	$(MAKE) test BUILD=build-asan CMAKE_ARGS=-DMORVEL_SANITIZE=ON

clean:
	rm -rf $(BUILD)
