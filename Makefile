# Thin wrapper over CMake. `make`, `make test`, `make test-asan`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps configure test test-asan clean

all: configure
	cmake --build $(BUILD) -j $(JOBS)

deps:
	@scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release

test: all
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DQV_SANITIZE=ON -DQV_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
