# Every target installs what it needs first (scripts/setup is quiet when all is there).
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: setup build run test bench asan fuzz format

setup:
	@scripts/setup

build: setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/src/tapewright

test: build
	@scripts/run-tests $(BUILD)

bench: build
	@scripts/bench $(BUILD)

asan: setup
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTAPEWRIGHT_SANITIZE=ON \
	  -DTAPEWRIGHT_BENCH=OFF >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@scripts/run-tests $(ASAN_BUILD)

# FUZZ_SECONDS=600 make fuzz runs each libFuzzer target for that long on a copy of its seeds.
fuzz: setup
	@CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DTAPEWRIGHT_LIBFUZZER=ON -DTAPEWRIGHT_BENCH=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzzers
	@scripts/fuzz $(FUZZ_BUILD) $${FUZZ_SECONDS:-60}

format: setup
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i
