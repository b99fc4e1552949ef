# All targets work on a fresh machine. "make run" shows what tessera does, "make test" runs all tests.
BUILD = cmake --build --preset
CONFIGURE = cmake --preset
EXAMPLE = examples/branch-office
quiet = >build/$(1).log 2>&1 || { cat build/$(1).log >&2; exit 1; }

.PHONY: run build test lint format doc package fuzz faults corruptions coverage bench cross clean

# The files of every service for the example router, from the shipped build.
run: setup-build
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release; } $(call quiet,release)
	@tools/show-example.sh build/release/bin/tessera-preview $(EXAMPLE)

build: setup-build
	$(CONFIGURE) release
	$(BUILD) release

# Makes both builds and runs all their tests together, for one summary. As some tests wait, one more than the number of
# processors run at a time.
test: setup-test
	$(CONFIGURE) asan
	$(CONFIGURE) ci
	$(BUILD) asan
	$(BUILD) ci
	@echo 'subdirs(asan ci)' >build/CTestTestfile.cmake
	PYTHONDONTWRITEBYTECODE=1 ctest --test-dir build -j $$(($$(nproc) + 1)) --output-on-failure --no-tests=error --timeout 600

lint: setup-lint
	@mkdir -p build
	@$(CONFIGURE) release $(call quiet,lint)
	@tests/lint/lint.sh build/release

format: setup-lint
	@tests/lint/lint.sh --format

# The manual as HTML, with the reference of all keys.
doc: setup-doc
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release --target html; } $(call quiet,doc)
	@ls "$$PWD"/build/release/doc/html/*

# The Debian package of the shipped build.
package: setup-package
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release; } $(call quiet,release)
	@(cd build/release && cpack -B ..) $(call quiet,package)
	@ls build/*.deb

# Runs each fuzz target for TIME seconds. New inputs go to build/fuzz/found, failing inputs to build/fuzz/failed.
TIME = 60
TARGETS = config dnsmasq ipsec network pam
fuzz: setup-test
	$(CONFIGURE) fuzz
	$(BUILD) fuzz
	@for target in $(TARGETS); do \
	  mkdir -p build/fuzz/found/$$target build/fuzz/failed && \
	  (cd tests/fuzz/corpus/$$target && ../../../../build/fuzz/bin/fuzz_$$target -max_total_time=$(TIME) \
	    -max_len=4096 -timeout=60 -print_final_stats=1 -artifact_prefix=../../../../build/fuzz/failed/$$target- \
	    ../../../../build/fuzz/found/$$target .) || exit 1; \
	done

# Makes each system call and allocation of a run fail in turn, kills runs at each call, and prints a table of the results.
# Does the same with tessera-apply, where it also simulates a loss of power.
faults: setup-test
	$(CONFIGURE) ci
	$(BUILD) ci --target every-fault
	$(BUILD) ci --target every-apply-fault

# Damages each value of the examples in turn: the checker has to report an error exactly when a daemon refuses its file.
corruptions: setup-test
	$(CONFIGURE) ci
	$(BUILD) ci --target every-corruption

# Prints how much of src/ the unit tests and the corpus of the fuzzers reach, and writes the uncovered lines to
# build/coverage/uncovered. Whole runs are not counted: they run in a sandbox and cannot write their counts.
COVERAGE = build/coverage
coverage: setup-test
	$(CONFIGURE) coverage
	$(BUILD) coverage
	rm -rf $(COVERAGE)/counts && mkdir $(COVERAGE)/counts
	LLVM_PROFILE_FILE=$$PWD/$(COVERAGE)/counts/%4m.profraw ctest --preset coverage -R '^(fuzz/|[A-Z])'
	@llvm-profdata-14 merge -o $(COVERAGE)/counts/all $(COVERAGE)/counts/*.profraw
	@set -- -instr-profile=$(COVERAGE)/counts/all '-ignore-filename-regex=(^|/)(reference|tests|tools|bench)/' \
	  $(COVERAGE)/bin/tessera $$(find $(COVERAGE)/bin -type f ! -name tessera -printf '-object %p '); \
	llvm-cov-14 show "$$@" 2>/dev/null | grep -E '^[^ ]+:$$|^ +[0-9]+\| +0\|' >$(COVERAGE)/uncovered; \
	llvm-cov-14 report "$$@" -show-functions=false 2>/dev/null

# Measures times, costs and sizes and compares them with their limits and with other programs. Takes some minutes;
# SIZES=full takes much longer.
SIZES = small
bench: setup-bench
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release; } $(call quiet,release)
	@{ bench/bench.py --sizes $(SIZES) build/release/bin && bench/sizes.sh build && bench/explain.sh build/release/bin; } >build/bench.md
	@cat build/bench.md
	@! grep -q missed build/bench.md

# Builds for other processors and runs the unit and golden tests in emulators. After that, "make bench" shows their sizes.
ARCHITECTURES = arm64 armhf mipsel s390x
cross: setup-cross
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release --target tessera-preview; } $(call quiet,release)
	@tools/cross.sh $(ARCHITECTURES)

setup-build:
	@tools/setup.sh build

setup-%:
	@tools/setup.sh build $*

clean:
	rm -rf build
