# Everything from a fresh machine: "make run" shows what it does, "make test" proves it.
BUILD = cmake --build --preset
CONFIGURE = cmake --preset
EXAMPLE = examples/branch-office
quiet = >build/$(1).log 2>&1 || { cat build/$(1).log >&2; exit 1; }

.PHONY: run build test lint format fuzz faults coverage bench cross setup-build setup-test setup-bench setup-cross clean

# The files of every service for the example router, from the shipped build.
run: setup-build
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release; } $(call quiet,release)
	@tools/show-example.sh build/release/bin/tessera-preview $(EXAMPLE)

build: setup-build
	$(CONFIGURE) release
	$(BUILD) release

# The sanitized build first, so that the last line is the summary of the full run.
test: setup-test
	$(CONFIGURE) ci
	$(BUILD) ci
	$(CONFIGURE) asan
	$(BUILD) asan
	ctest --preset asan
	ctest --preset ci

lint: setup-test
	$(CONFIGURE) ci
	$(BUILD) ci
	ctest --preset ci -L lint

format: setup-test
	$(CONFIGURE) ci
	cmake --build --preset ci --target format

# Each fuzz target for TIME seconds. What is new goes to build/fuzz/found, what fails to build/fuzz/failed.
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

# Every system call and allocation of a run fails in turn, and runs are killed at each call: what is left, in a table.
faults: setup-test
	$(CONFIGURE) ci
	$(BUILD) ci --target every-fault

# How much of src/ the tests reach: a table of files, and the uncovered lines in build/coverage/uncovered. Programs on
# a router of their own see nothing of the machine, but write their counts through the directory that is open as 9.
COVERAGE = build/coverage
coverage: setup-test
	$(CONFIGURE) coverage
	$(BUILD) coverage
	rm -rf $(COVERAGE)/counts && mkdir $(COVERAGE)/counts
	exec 9<$(COVERAGE)/counts; LLVM_PROFILE_FILE=/proc/self/fd/9/%4m.profraw ctest --preset coverage
	@llvm-profdata-14 merge -o $(COVERAGE)/counts/all $(COVERAGE)/counts/*.profraw
	@set -- -instr-profile=$(COVERAGE)/counts/all '-ignore-filename-regex=(^|/)(reference|tests|tools|bench)/' \
	  $(COVERAGE)/bin/tessera $$(find $(COVERAGE)/bin -type f ! -name tessera -printf '-object %p '); \
	llvm-cov-14 show "$$@" 2>/dev/null | grep -E '^[^ ]+:$$|^ +[0-9]+\| +0\|' >$(COVERAGE)/uncovered; \
	llvm-cov-14 report "$$@" -show-functions=false 2>/dev/null

# Times, costs and sizes beside others', about five minutes; SIZES=full takes much longer.
SIZES = small
bench: setup-bench
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release && $(BUILD) release --target bench_programs; } $(call quiet,release)
	@bench/bench.py --sizes $(SIZES) build/release/bin build/release/bench >build/bench.md
	@bench/sizes.sh build >>build/bench.md
	@cat build/bench.md

# Builds for other processors, and runs the unit and golden tests in emulators. "make bench" then shows those sizes too.
ARCHITECTURES = arm64 armhf mipsel s390x
cross: setup-cross
	@mkdir -p build
	@{ $(CONFIGURE) release && $(BUILD) release --target tessera-preview; } $(call quiet,release)
	@tools/cross.sh $(ARCHITECTURES)

setup-build:
	@tools/setup.sh build

setup-test:
	@tools/setup.sh build test

setup-bench:
	@tools/setup.sh build bench

setup-cross:
	@tools/setup.sh build cross

clean:
	rm -rf build
