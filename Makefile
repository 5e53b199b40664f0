# Two entry points for a fresh machine: `make run` and `make test`. `make` builds the release binary.
RELEASE_DIR := build/release
DEBUG_DIR   := build/debug
JOBS        ?= $(shell nproc)

.PHONY: all release debug run test bench clean

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

bench: release
	@ls $(RELEASE_DIR)/bench_* 2>/dev/null || true

clean:
	rm -rf build
