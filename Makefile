# Thin front door over CMake. `make check` installs what it needs, builds and runs every test;
# `make demo` builds, starts a throwaway domain controller, runs the examples and stops it.
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
PREFIX     ?= /usr/local
JOBS       ?= 2
CMAKE_ARGS ?=

.PHONY: all deps build check check-asan check-fuzz demo install clean reference

all: build

deps:
	scripts/setup-deps

build:
	cmake -S . -B $(BUILD) $(CMAKE_ARGS)
	cmake --build $(BUILD) -j$(JOBS)

check: deps
	$(MAKE) build
	cd $(BUILD) && ctest --output-on-failure --timeout 900
	$(MAKE) check-asan
	$(MAKE) check-fuzz

# Unit, script and integration tests again under AddressSanitizer and
# UndefinedBehaviorSanitizer, the integration tests against a DC of the build's own.
check-asan:
	cmake -S . -B $(ASAN_BUILD) -DZS_SANITIZE=ON $(CMAKE_ARGS)
	cmake --build $(ASAN_BUILD) -j$(JOBS)
	cd $(ASAN_BUILD) && ctest --output-on-failure --timeout 900 -L 'unit|script|integration'

# The libFuzzer targets (one per reader of outside text or bytes), built with clang in a
# directory of their own, each run for 30 seconds from its seed corpus in tests/fuzz/corpus/.
check-fuzz:
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DZS_FUZZ=ON -DZS_INTEGRATION=OFF $(CMAKE_ARGS)
	cmake --build $(FUZZ_BUILD) -j$(JOBS) --target zs_fuzz
	cd $(FUZZ_BUILD) && ctest --output-on-failure -L fuzz

# Installs what it needs too, so that either command works first on a fresh machine.
demo: deps
	$(MAKE) build
	scripts/demo $(BUILD)

# Rewrites README's command reference from the command table of the built library.
reference: build
	scripts/command-reference $(BUILD)/libzonesmith.so.0 --update README.md

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
