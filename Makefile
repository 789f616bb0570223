# Entry points for a fresh machine: `make run` and `make test`.
JOBS ?= $(shell nproc)
WERROR ?= OFF
CMAKE_FLAGS = -DKESTREL_WARNINGS_AS_ERRORS=$(WERROR)
DEMO_HOME ?= $(CURDIR)/build/demo-home

.PHONY: deps build build-debug run test bench clean format

deps:
	@scripts/install-deps

build: deps
	@cmake --preset release $(CMAKE_FLAGS) >/dev/null
	@cmake --build --preset release -j $(JOBS)

build-debug: deps
	@cmake --preset debug $(CMAKE_FLAGS) >/dev/null
	@cmake --build --preset debug -j $(JOBS)

run: build
	@build/release/tools/kestrel/kestrel inspect --home $(DEMO_HOME) 2>$(DEMO_HOME).log && echo "(start-up log: $(DEMO_HOME).log)"

test: build-debug
	@ctest --preset debug -j $(JOBS)

bench: build
	@build/release/bench/kestrel-bench --benchmark_min_time=0.2 | tee build/release/bench-report.txt

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	@rm -rf build
