# make run   installs what is missing, builds and starts the editor
# make test  installs what is missing, builds and runs every test
BUILD ?= build
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test bench sanitize clean

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

sanitize:
	$(MAKE) test BUILD=build-asan CMAKE_ARGS=-DMORVEL_SANITIZE=ON

clean:
	rm -rf $(BUILD)
