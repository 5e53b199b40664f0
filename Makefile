# Two entry points for a fresh machine: `make run` and `make test`. `make` builds the release binary.
RELEASE_DIR := build/release
DEBUG_DIR   := build/debug
JOBS        ?= $(shell nproc)

FUZZ_DIR    := build/fuzz
FUZZ_SECONDS ?= 60

.PHONY: all release debug run test bench fuzz fuzz-smoke clean

all: release

release:
	@cmake -S . -B $(RELEASE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DQV_TESTS=OFF > /dev/null
	@cmake --build $(RELEASE_DIR) -j $(JOBS)

debug:
	@cmake -S . -B $(DEBUG_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQV_SANITIZE=ON -DQV_BENCH=OFF > /dev/null
	@cmake --build $(DEBUG_DIR) -j $(JOBS)

# The server, unattended, on port 1983, with its files in run/.
run: release
	@mkdir -p run
	@cd run && exec ../$(RELEASE_DIR)/quorvane --auto --port 1983

# Every unit and integration test, in a Debug build with address and undefined-behaviour checks.
test: debug
	@cd $(DEBUG_DIR) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS) --timeout 300

# The fuzz targets, built with clang and libFuzzer.
fuzz:
	@cmake -S . -B $(FUZZ_DIR) -G Ninja -DCMAKE_BUILD_TYPE= -DCMAKE_CXX_FLAGS="-O1 -gline-tables-only" \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DQV_FUZZ=ON -DQV_TESTS=OFF -DQV_BENCH=OFF > /dev/null
	@cmake --build $(FUZZ_DIR) -j $(JOBS) --target fuzz_peer fuzz_pic fuzz_chat fuzz_load

# Each fuzz target for FUZZ_SECONDS from its seed corpus; a long run: make fuzz-smoke FUZZ_SECONDS=3600
fuzz-smoke: fuzz
	@tools/fuzz_smoke.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

bench: release
	@ls $(RELEASE_DIR)/bench_* 2>/dev/null || true

clean:
	rm -rf build
