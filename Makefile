# A thin front of the CMake presets: see CMakePresets.json for an IDE.

SETUP = scripts/install-packages
BUILD = build/release
export CTEST_PARALLEL_LEVEL ?= 2

.PHONY: demo
demo: ## build a release and show what the library does
	@$(SETUP) build
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target lmctl
	@$(BUILD)/tools/lmctl demo
