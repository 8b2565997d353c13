# Sigilo: build, test, sanitizers, fuzzing and the demo.
#   make          install missing packages, configure and build into build/
#   make check    build and run every test through CTest
#   make demo     build and run sigilo on the demo documents with the demo trust list
#   make install  install the library, its header, the tool, its manual, sigilo.pc and the CMake
#                 package under PREFIX (default /usr/local)
#   make asan     the whole suite under AddressSanitizer + UndefinedBehaviorSanitizer (clang)
#   make fuzz     each libFuzzer target for FUZZ_SECONDS seconds (built by make asan)
#   make tsan     the trust-store tests (threads sharing one store, and the tools they run) under
#                 ThreadSanitizer (clang)
#   make bench    the benchmarks, each next to the openssl command line (Release, build-bench/)

BUILD       ?= build
ASAN_BUILD  ?= build-asan
BENCH_BUILD ?= build-bench
TSAN_BUILD  ?= build-tsan
JOBS        ?= $(shell nproc 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 30
CMAKE_FLAGS ?=
PREFIX      ?= /usr/local

.PHONY: all deps build check demo install asan asan-build fuzz bench tsan clean

all: build

deps:
	@scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

check: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: build
	@scripts/demo.sh $(BUILD)

install: build
	@cmake --install $(BUILD) --prefix $(PREFIX)

asan-build: deps
	@CC=clang CXX=clang++ cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug \
	  -DSIGILO_SANITIZE=ON -DSIGILO_FUZZ=ON $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)

asan: asan-build
	@cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

fuzz: asan-build
	@scripts/fuzz.sh $(ASAN_BUILD) $(FUZZ_SECONDS)

tsan: deps
	@CC=clang CXX=clang++ cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DSIGILO_TSAN=ON \
	  $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(TSAN_BUILD) -j $(JOBS) --target test_trust sigilo_tool sigilo-server
	@TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $(TSAN_BUILD)/tests/test_trust

bench: deps
	@cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DSIGILO_BENCH=ON $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(BENCH_BUILD) -j $(JOBS)
	@bench/run_bench.sh $(BENCH_BUILD)
	@bench/cms_nocopy.sh $(BENCH_BUILD)
	@bench/engine_bench.sh $(BENCH_BUILD)
	@bench/pdf_bench.sh $(BENCH_BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(TSAN_BUILD)
