# The two commands a fresh machine needs: `make run` and `make test`.
PRESET ?= dev
BUILD_DIR := build/$(PRESET)
CTEST_ARGS ?=

.PHONY: run test build bootstrap configure asan coverage fuzz fuzz-build format format-check bench clean deb

run: build
	$(BUILD_DIR)/src/app/tidewatch

test: build
	QTEST_FUNCTION_TIMEOUT=120000 scripts/with-session ctest --test-dir $(BUILD_DIR) --output-on-failure $(CTEST_ARGS)

build: configure
	cmake --build --preset $(PRESET)

configure: bootstrap
	@[ -f $(BUILD_DIR)/CMakeCache.txt ] || cmake --preset $(PRESET)

bootstrap:
	@scripts/bootstrap

# Every test under AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer.
asan:
	$(MAKE) test PRESET=asan

# Line coverage of the library and the command line by every test, as text and HTML in build/coverage.
# The rows that save under a file-size limit fail here only: the limit also stops the command line
# writing its own coverage counts, and says so on standard error. The figure is given regardless.
coverage:
	$(MAKE) test PRESET=coverage || echo "coverage: some tests failed in this build; the figure counts what ran"
	gcovr --root . --filter src/kit/ --filter src/cli/ --object-directory build/coverage \
	    --html-details build/coverage/coverage.html --txt build/coverage/coverage.txt --print-summary

# Every libFuzzer target for FUZZ_SECONDS each (CI runs them briefly).
FUZZ_SECONDS ?= 20
fuzz-build: bootstrap
	@[ -f build/fuzz/CMakeCache.txt ] || cmake --preset fuzz
	cmake --build --preset fuzz

fuzz: fuzz-build
	scripts/fuzz $(FUZZ_SECONDS)

# A Debian package of the optimised build, checked with lintian and apt: build/ci/tidewatch_*_amd64.deb.
deb:
	$(MAKE) build PRESET=ci
	rm -f build/ci/tidewatch_*.deb
	cd build/ci && cpack -G DEB
	packaging/check-deb.sh build/ci/tidewatch_*.deb

bench: build
	$(BUILD_DIR)/bench/engine_bench

format:
	git ls-files --cached --others --exclude-standard '*.cpp' '*.h' | xargs clang-format -i

format-check:
	git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	rm -rf build
