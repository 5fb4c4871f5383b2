# A thin front of the CMake presets in CMakePresets.json. Every target first installs the Debian packages
# that it needs where some are missing: see packages.txt.

SETUP := scripts/install-packages
BUILD := build/release
PREFIX ?= /usr/local
MINUTES ?= 10
FORMATTED = $(shell git ls-files '*.cpp' '*.h')
DEVICE_TESTS := lmsupport_test host_test lmctl_test device_test
# What a host alone builds.
HOST_ONLY := device/% examples/% fuzz/% host/hidl/% \
  tests/Dependent% tests/Device% soak/% tests/tool/LmctlServices%

# The C library's heap returns no memory: which benchmark fetches it again is a matter of luck.
bench bench-table: export MALLOC_TRIM_THRESHOLD_ = 1073741824
bench bench-table: export MALLOC_MMAP_THRESHOLD_ = 33554432

export CTEST_PARALLEL_LEVEL ?= $(shell nproc)

help: ## show this list
	@sed -n 's/^\([a-z0-9-]*\):.*## /  make \1\t/p' Makefile | expand -t 20

setup: ## install the Debian packages that the build needs, or those of GROUPS="build check"
	@$(SETUP) $(or $(GROUPS),build)

demo: ## show the library at work
	@$(SETUP) build
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target lmctl
	@$(BUILD)/tools/lmctl demo

test: test-release ## run the tests

bench: bench-build ## measure against bare system calls and what else a user would pick
	@$(BUILD)/bench/lmsupport_bench --benchmark_enable_random_interleaving=true

bench-table: bench-build ## the same, and write the table of bench/README.md
	@bench/table $(BUILD)/bench/lmsupport_bench

bench-build:
	@$(SETUP) build bench
	@cmake --preset release -DLMSUPPORT_BUILD_BENCH=ON >/dev/null
	@cmake --build --preset release --target lmsupport_bench

check: ## everything CI checks
check: format-check test-release test-asan test-tsan tidy
check: bench-build report-check headers-check abi-check android-check docs package soak
check: MINUTES = 0

format: ## format the sources
	@$(SETUP) check
	@clang-format -i $(FORMATTED)

format-check:
	@$(SETUP) check
	@clang-format --dry-run --Werror $(FORMATTED)

tidy: ## look for suspicious code
	@scripts/check-names $(filter-out $(HOST_ONLY),$(FORMATTED))
	@$(SETUP) build check
	@cmake --preset asan -B build/tidy -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
	@cmake --build build/tidy --target lmhost_hidl_headers
	@echo $(filter %.cpp,$(filter-out bench/% fuzz/% soak/% tests/%,$(FORMATTED))) | \
	  xargs -n 1 -P $(CTEST_PARALLEL_LEVEL) clang-tidy --quiet -p build/tidy

test-%:
	@$(SETUP) build $(if $(filter asan,$*),check)
	@cmake --preset $* >/dev/null
	@cmake --build --preset $*
	@ctest --preset $*

soak: ## repeat long-running tests and fuzz targets for MINUTES=10; SEED=N starts with that round
	@$(SETUP) build check
	@for preset in release asan tsan; do cmake --preset $$preset >/dev/null || exit; done
	@cmake --build --preset release --target lmsupport_soak
	@cmake --build --preset tsan --target lmsupport_soak
	@cmake --build --preset asan --target frame_parser_fuzz --target meminfo_fuzz \
	  --target stats_parser_fuzz
	@soak/run $(MINUTES) $(SEED)

arm64: ## cross build for 64-bit ARM
	@$(SETUP) build arm64
	@cmake --preset arm64 >/dev/null
	@cmake --build --preset arm64

device: arm64 ## build the simulated device
	@$(SETUP) device
	@device/build build/device

device-test: device ## run all tests on the simulated device
	@tests/device_run_test.sh & runner=$$!; \
	  device/run -- sh -c 'status=0; for test in $(DEVICE_TESTS); do $$test || status=1; done; exit $$status'; \
	  status=$$?; wait $$runner && exit $$status

device-demo: device ## show the library at work on the simulated device
	@device/run -o build/device-demo -- lmctl demo --device /sys/kernel/lmdevice --output /results
	@echo "/results is build/device-demo here"

report-check: ## look at a report of lmctl in a browser
	@$(SETUP) build browser
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target lmctl
	@ctest --preset release -R '^report-page$$'

headers-check: ## compile each public header alone, with each compiler
	@$(SETUP) build check
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target lmhost_hidl_headers
	@scripts/check-headers $(BUILD)/host/hidl

abi-check: ## compare the library's public interface with tests/lmsupport.abi
abi-check abi-update:
	@$(SETUP) build check
	@cmake --preset debug >/dev/null
	@cmake --build --preset debug --target lmsupport
	@scripts/check-abi $(if $(filter abi-update,$@),--update) build/debug/liblmsupport.so tests/lmsupport.abi

android-check: ## build the modules for Android, much as Android does
	@$(SETUP) build bench arm64 android
	@scripts/check-names $(filter-out $(HOST_ONLY),$(FORMATTED))
	@scripts/android-check build/android

docs: ## make the API reference, build/docs/html/index.html, and draw the diagrams
	@$(SETUP) docs browser $(if $(shell command -v npm),,npm)
	@mkdir -p build/docs
	@doxygen docs/Doxyfile
	@scripts/check-diagrams build/diagrams README.md CONTRIBUTING.md docs/*.md

package: ## make Debian packages
	@$(SETUP) build package
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target installed lmctl_manual
	@cd $(BUILD) && cpack

install: ## install a release below DESTDIR and PREFIX, /usr/local
	@$(SETUP) build
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target installed
	@DESTDIR=$(DESTDIR) cmake --install $(BUILD) --prefix $(PREFIX)
	@[ -n "$(DESTDIR)" ] || scripts/find-library $(PREFIX)

clean: ## remove what was built
	@rm -rf build

.PHONY: help setup demo test bench bench-table bench-build check format format-check tidy arm64 \
  device device-test device-demo report-check headers-check abi-check abi-update android-check docs package soak \
  install clean
