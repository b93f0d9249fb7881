# Entry points: `make demo` builds vkconv and converts the bundled sample,
# `make test` builds and runs every test. Both install the build dependencies
# when they are missing.
BUILD ?= build
ASAN_BUILD ?= build-asan
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps demo-deps configure build program demo test sanitize bench clean

all: build

# The program needs g++ and CMake only; the tests and benchmarks also need
# GoogleTest and Google Benchmark, and the texture viewer vkview libpng.
demo-deps:
	@if ! command -v cmake >/dev/null || ! command -v g++ >/dev/null; then \
	  echo "Installing build dependencies"; \
	  apt-get update && apt-get install -y g++ cmake make; \
	fi

deps: demo-deps
	@if [ ! -f /usr/include/gtest/gtest.h ] || [ ! -f /usr/include/benchmark/benchmark.h ]; then \
	  echo "Installing test dependencies"; \
	  apt-get update && apt-get install -y libgtest-dev libbenchmark-dev; \
	fi
	@if [ ! -f /usr/include/png.h ]; then \
	  echo "Installing libpng (for vkview)"; \
	  apt-get update && apt-get install -y libpng-dev; \
	fi

configure: deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# The program alone: no test suite or benchmark is compiled.
program: demo-deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS) --target vkconv

# Converts a copy of the sample model in $(BUILD)/demo and shows the result.
demo: program
	rm -rf $(BUILD)/demo && mkdir -p $(BUILD)/demo && cp examples/*.* $(BUILD)/demo/
	cd $(BUILD)/demo && ../vkconv sample.vka
	@echo
	@cd $(BUILD)/demo && ls -l && echo "--- textures converted ---" && ls *.pvr && if [ -f sample.vka.bk ]; then echo "--- sample.vka (converted) ---"; head -n 40 sample.vka; fi
	@echo
	@echo "The program is $(abspath $(BUILD))/vkconv (run it without arguments for its usage)."

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The test suites once more under the address and undefined-behaviour sanitizers.
sanitize: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DVK_SANITIZE=ON -DVK_BENCH=OFF $(SANITIZE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

bench: build
	$(BUILD)/vk_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
