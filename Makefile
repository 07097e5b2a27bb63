# A thin front door over CMake. Build trees: build/ (normal), build-asan/,
# build-tsan/, build-arm/ (64-bit Arm cross-build, tests under qemu-user).
JOBS ?= $(shell nproc)
MAKEFLAGS += --no-print-directory
CMAKE ?= cmake
PREFIX ?= /usr/local
# Tests the ThreadSanitizer run covers (a ctest -R pattern): all of them.
TSAN_TESTS ?= .

.PHONY: all build test demo asan tsan arm-test bench fuzz install clean

all: build

build:
	@$(CMAKE) -S . -B build -DCMAKE_INSTALL_PREFIX=$(PREFIX) >/dev/null
	@$(CMAKE) --build build -j $(JOBS)

test: build
	cd build && ctest --output-on-failure -j $(JOBS)

demo: build
	@./scripts/demo.sh build/itunes-import testdata/sample-library.xml demo-out

asan:
	@$(CMAKE) -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DITUNES_IMPORT_SANITIZE=address,undefined >/dev/null
	@$(CMAKE) --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

tsan:
	@$(CMAKE) -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DITUNES_IMPORT_SANITIZE=thread >/dev/null
	@$(CMAKE) --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j $(JOBS) -R '$(TSAN_TESTS)'

# The boxes run 64-bit Arm: cross-build everything and run the suite there
# under emulation (the toolchain file makes ctest go through qemu-user).
arm-test:
	@$(CMAKE) -S . -B build-arm -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/aarch64-linux-gnu.cmake >/dev/null
	@$(CMAKE) --build build-arm -j $(JOBS)
	cd build-arm && QEMU_LD_PREFIX=/usr/aarch64-linux-gnu ctest --output-on-failure -j $(JOBS)

bench:
	@$(CMAKE) -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DITUNES_IMPORT_BENCH=ON -DITUNES_IMPORT_TESTS=OFF >/dev/null
	@$(CMAKE) --build build-bench -j $(JOBS)

fuzz:
	@$(CMAKE) -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DITUNES_IMPORT_FUZZ=ON -DITUNES_IMPORT_TESTS=OFF >/dev/null
	@$(CMAKE) --build build-fuzz -j $(JOBS)

install: build
	$(CMAKE) --install build --prefix $(PREFIX)

clean:
	rm -rf build build-asan build-tsan build-arm build-bench demo-out
