# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# A thin front end of the CMake presets. Every target first installs the packages that it needs.

# Many tests wait rather than compute, so more of them run at once than there are cores.
TEST_JOBS ?= $(shell echo $$(( $$(nproc) * 4 )))

ifneq ($(shell command -v ccache),)
export CMAKE_CXX_COMPILER_LAUNCHER := ccache
endif

.PHONY: help demo hub corvelctl install test test-asan test-tsan coverage reliability check bench bench-peers docs
.PHONY: cross flatbuffers package test-packages clean deps deps-build

help: ## Show the targets
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "make %-11s  %s\n", $$1, $$2 }' $(MAKEFILE_LIST)

demo: deps ## Show providers and consumers on a real hub (KEEP=1: leave it running)
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target corvel-dev-hub boiler boiler_monitor \
		provider_session consumer_session
	@tools/demo/run $(if $(KEEP),--keep)

hub: deps-build ## Build the development hub alone, and print how to start it
	@cmake --preset hub >/dev/null
	@cmake --build --preset hub
	@echo 'The development hub is $(CURDIR)/build/hub/tools/dev_hub/corvel-dev-hub'
	@echo 'Start it on fixed ports:'
	@echo '  build/hub/tools/dev_hub/corvel-dev-hub --nats-port 4222 --token-port 8080'
	@echo 'Kill its server for 10 s, from another terminal (--help lists all faults):'
	@echo '  build/hub/tools/dev_hub/corvel-dev-hub fault nats-down 10s'

corvelctl: deps-build ## Build the command line tool, and print where it is
	@cmake --preset tool >/dev/null
	@cmake --build --preset tool --target corvelctl
	@echo 'The tool is $(CURDIR)/build/tool/tools/corvelctl/corvelctl'
	@echo 'Try it:'
	@echo '  build/tool/tools/corvelctl/corvelctl dev up --demo'
	@echo '  build/tool/tools/corvelctl/corvelctl view --demo'

install: deps-build ## Install libraries and tools (PREFIX=/usr/local)
	@cmake --preset tool >/dev/null
	@cmake --build --preset tool
	@cmake --install build/tool --prefix $(or $(PREFIX),/usr/local)

test: preset := dev
test: deps ## Build and run all tests

test-asan: preset := asan-ubsan
test-asan: deps ## The same tests under the address and undefined behaviour sanitizers

test-tsan: preset := tsan
test-tsan: deps ## The same tests under the thread sanitizer

test test-asan test-tsan:
	@cmake --preset $(preset) >/dev/null
	@cmake --build --preset $(preset)
	@ctest --preset $(preset) --parallel $(TEST_JOBS)

# The program that counts locks contains the library's code once more, whose branches must not count.
coverage: deps ## Measure how much of the library the quick tests run
	@cmake --preset coverage >/dev/null
	@cmake --build --preset coverage
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage --parallel $(TEST_JOBS)
	@gcovr --object-directory build/coverage --filter src/ --filter include/ --print-summary \
		--exclude-throw-branches --exclude-unreachable-branches \
		--exclude-directories '.*bench-locks.*' \
		--fail-under-line 95 --fail-under-branch 85 2>/dev/null

reliability: deps ## Run all fault and load tests, in up to 90 minutes, and write docs/reliability.md
	@tests/reliability/run

check: deps ## Run all static checks (ONLY="format layers": only these)
	@tools/checks/check.py $(ONLY)

bench: deps ## Compare the library with hand-written code, and print which targets are met
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target corvel-hub-bench corvel-hub-bench-locks \
		corvel-hub-bench-end-to-end corvel-hub-bench-session
	@bench/run

bench-peers: deps ## Compare the library with other ways to transport values
	@packaging/install-packages debian-packages-bench-peers
	@cmake -S bench/peers -B build/peers -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build/peers
	@bench/peers/run

ARCH ?= arm64

cross: deps ## Build for ARCH=arm64 or armhf, and run unit and contract tests and the demo emulated (root)
	@packaging/install-packages debian-packages-release cross-build
	@packaging/make-sysroot $(ARCH) build/sysroot-$(ARCH)
	@cmake --preset $(ARCH) >/dev/null
	@cmake --build --preset $(ARCH)
	@ctest --test-dir build/$(ARCH) --output-on-failure --parallel $(TEST_JOBS)

flatbuffers: deps ## Build and test the messages with the FlatBuffers of Debian 13 (root)
	@packaging/install-packages debian-packages-release test-packages
	@tests/flatbuffers/run

docs: deps ## Write the manual as HTML, and print where it is
	@tools/checks/documentation.py
	@echo 'The manual is $(CURDIR)/build/docs/html/index.html'

package: ## Build the Debian packages in build/package
	@packaging/build-packages

test-packages: package ## Use the packages in a minimal Debian of their own (needs root)
	@packaging/install-packages debian-packages-release test-packages
	@tests/packages/run

clean: ## Remove everything that was built
	@rm -rf build

deps: ## Install the Debian packages that are missing
	@packaging/install-packages

deps-build:
	@packaging/install-packages debian-packages build
