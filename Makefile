# Entry points for a fresh machine: `make run` and `make test`.
JOBS ?= $(shell nproc)
WERROR ?= OFF
CMAKE_FLAGS = -DKESTREL_WARNINGS_AS_ERRORS=$(WERROR)
DEMO_HOME ?= $(CURDIR)/build/demo-home

.PHONY: deps build build-debug run test test-asan test-tsan reliability bench fuzz clean format

deps:
	@scripts/install-deps

build: deps
	@cmake --preset release $(CMAKE_FLAGS) >/dev/null
	@cmake --build --preset release -j $(JOBS)

build-debug: deps
	@cmake --preset debug $(CMAKE_FLAGS) >/dev/null
	@cmake --build --preset debug -j $(JOBS)

# One match day played through the facade on a fresh demonstration home,
# then the inspect report of what it left there.
KESTREL = build/release/tools/kestrel/kestrel
run: deps
	@cmake --preset release $(CMAKE_FLAGS) >/dev/null
	@cmake --build --preset release -j $(JOBS) --target kestrel
	@rm -rf $(DEMO_HOME)
	@$(KESTREL) demo --home $(DEMO_HOME) 2>$(DEMO_HOME).log || { cat $(DEMO_HOME).log; exit 1; }
	@echo "== kestrel inspect --home $(DEMO_HOME) =="
	@$(KESTREL) inspect --home $(DEMO_HOME) 2>>$(DEMO_HOME).log || { cat $(DEMO_HOME).log; exit 1; }
	@echo "(start-up log: $(DEMO_HOME).log)"

test: build-debug
	@ctest --preset debug -j $(JOBS)

# The whole suite under AddressSanitizer + UBSan, and the concurrency and
# facade tests under ThreadSanitizer (what .ci/run adds after `make test`).
TSAN_TESTS ?= -L 'reliability|storage|caches|objectstore|platform|sql'
test-asan: deps
	@cmake --preset asan $(CMAKE_FLAGS) >/dev/null
	@cmake --build --preset asan -j $(JOBS)
	@ctest --preset asan -j $(JOBS)

# Only what the ThreadSanitizer run executes is built: the test executables
# of those labels and everything under tests/reliability.
TSAN_TARGETS ?= kestrel_platform_tests kestrel_platform_objectstore_tests kestrel_sql_tests \
	kestrel_caches_tests kestrel_storage_tests kestrel_objectstore_tests
test-tsan: deps
	@cmake --preset tsan $(CMAKE_FLAGS) -DKESTREL_BUILD_TOOL=OFF -DKESTREL_BUILD_EXAMPLES=OFF >/dev/null
	@cmake --build --preset tsan -j $(JOBS) --target $(TSAN_TARGETS)
	@$(MAKE) --no-print-directory -C build/tsan/tests/reliability -j $(JOBS)
	@ctest --preset tsan -j $(JOBS) $(TSAN_TESTS)

# The full forms of the reliability harnesses, one summary line each.
reliability: build-debug
	@scripts/reliability build/debug

# Each case: fifteen repetitions of at least 0.1 s, reported as medians. The
# repetitions of all cases are interleaved at random, so load from other work
# on a shared machine falls on ours and the baselines alike; many short
# samples give steadier medians there than a few long ones. The JSON results
# go to BENCH_OUT, the build and console output to bench-build.txt and
# bench-console.txt beside it (shown when that step fails), and
# scripts/bench-report prints the ratio table. Pass BENCH_FLAGS to change the
# run (e.g. BENCH_FLAGS=--benchmark_filter=Point).
BENCH_OUT ?= build/release/bench-results.json
BENCH_LOG_DIR = $(dir $(BENCH_OUT))
BENCH_CONSOLE = $(BENCH_LOG_DIR)bench-console.txt
BENCH_FLAGS ?= --benchmark_min_time=0.1 --benchmark_repetitions=15 \
	--benchmark_report_aggregates_only=true --benchmark_enable_random_interleaving=true

bench: deps
	@cmake --preset release $(CMAKE_FLAGS) >/dev/null
	@echo "kestrel-bench: building (log: $(BENCH_LOG_DIR)bench-build.txt)..."
	@cmake --build --preset release -j $(JOBS) --target kestrel-bench \
		>$(BENCH_LOG_DIR)bench-build.txt 2>&1 || { cat $(BENCH_LOG_DIR)bench-build.txt; exit 1; }
	@echo "kestrel-bench: running the cases (about a minute)..."
	@build/release/bench/kestrel-bench $(BENCH_FLAGS) --benchmark_out=$(BENCH_OUT) \
		--benchmark_out_format=json >$(BENCH_CONSOLE) 2>&1 || { cat $(BENCH_CONSOLE); exit 1; }
	@scripts/bench-report $(BENCH_OUT)

# Each fuzz target runs FUZZ_SECONDS (one worker) on a copy of its corpus in
# build/fuzz/corpus/<target>, so new inputs never land in the repository;
# copy one into fuzz/corpus/<target>/ on purpose. A finding stops the run
# with the crashing input's path; each target ends with one summary line.
# FUZZ_TARGETS picks targets, FUZZ_FLAGS adds libFuzzer options.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?= predicate_format field_translations event_row stage_row sql_builder kestrel_cli
FUZZ_FLAGS ?=
fuzz: deps
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS) $(addprefix --target fuzz_,$(FUZZ_TARGETS))
	@fuzz/run.sh build/fuzz $(FUZZ_SECONDS) "$(FUZZ_FLAGS)" $(FUZZ_TARGETS)

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	@rm -rf build
