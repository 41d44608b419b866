# Every target installs what it needs first (scripts/setup is quiet when all is there).
BUILD         ?= build
ASAN_BUILD    ?= build-asan
FUZZ_BUILD    ?= build-fuzz
RELEASE_BUILD ?= build-release
JOBS          ?= $(shell nproc)
CMAKE_ARGS    ?=
# Paths inside the checkout reach the compiler cache relative to it, so a fresh clone anywhere
# reuses what another checkout compiled.
export CCACHE_BASEDIR ?= $(CURDIR)
# The project's own builds treat warnings as errors and build the tests; a plain CMake configure
# (a packager's) does neither unless asked.
OWN_BUILD      = -DTAPEWRIGHT_WERROR=ON -DBUILD_TESTING=ON
# The package's program gets the hardening flags a Debian build of it would (-O3 stays Release's).
DEB_FLAGS      = DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP="-g -O2" \
                 dpkg-buildflags --get

.PHONY: setup build run test bench asan fuzz format package mutants

setup:
	@scripts/setup

build: setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(OWN_BUILD) $(CMAKE_ARGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/src/tapewright

test: build
	@scripts/run-tests $(BUILD)

# MUTANTS="name …" picks some of the faults in mutants/ by name; MUTANTS_TIMEOUT is per test.
mutants: build
	@scripts/mutants --build $(BUILD) --timeout $${MUTANTS_TIMEOUT:-300} $(MUTANTS)

bench: setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(OWN_BUILD) -DTAPEWRIGHT_BENCH=ON \
	  $(CMAKE_ARGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)
	@scripts/bench $(BUILD)

asan: setup
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTAPEWRIGHT_SANITIZE=ON \
	  $(OWN_BUILD) -DTAPEWRIGHT_BENCH=OFF >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@scripts/run-tests $(ASAN_BUILD)

# FUZZ_SECONDS=600 make fuzz runs each libFuzzer target for that long on a copy of its seeds.
fuzz: setup
	@CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DTAPEWRIGHT_LIBFUZZER=ON -DTAPEWRIGHT_WERROR=ON -DBUILD_TESTING=OFF -DTAPEWRIGHT_BENCH=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzzers
	@scripts/fuzz $(FUZZ_BUILD) $${FUZZ_SECONDS:-60}

# The Debian package of a Release build, copied here: sudo apt install ./tapewright_*.deb
package: setup
	@cmake -S . -B $(RELEASE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAPEWRIGHT_WERROR=ON \
	  -DBUILD_TESTING=OFF -DTAPEWRIGHT_BENCH=OFF \
	  -DCMAKE_CXX_FLAGS="$$($(DEB_FLAGS) CPPFLAGS) $$($(DEB_FLAGS) CXXFLAGS)" \
	  -DCMAKE_EXE_LINKER_FLAGS="$$($(DEB_FLAGS) LDFLAGS)" $(CMAKE_ARGS) >/dev/null
	@rm -f $(RELEASE_BUILD)/tapewright_*.deb tapewright_*.deb
	@cmake --build $(RELEASE_BUILD) -j $(JOBS) --target package
	@cp $(RELEASE_BUILD)/tapewright_*.deb .
	@ls tapewright_*.deb

format: setup
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i
