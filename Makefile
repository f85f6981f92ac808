# The README's commands. Builds live under build/<kind>.
JOBS ?= $(shell nproc)
# nlohmann-json3-dev: the agent's configuration file (header-only).
BUILD_PKGS := cmake ninja-build g++ make nlohmann-json3-dev
# frr, python3 and iproute2: the test beside the real routing suite (tests/frr).
TEST_PKGS := $(BUILD_PKGS) libgtest-dev libgmock-dev frr python3 iproute2
BENCH_PKGS := $(BUILD_PKGS) libbenchmark-dev
CLANG_PKGS := clang libclang-rt-dev
CMAKE := cmake -G Ninja -Wno-dev

.PHONY: run test test-sanitize build-clang bench fuzz soak clean

run:
	@scripts/deps.sh $(BUILD_PKGS)
	@$(CMAKE) -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DKOR_BUILD_TESTS=OFF >/dev/null
	@cmake --build build/release -j $(JOBS) --target kor-agent
	build/release/agent/kor-agent --config docs/examples/switch.json docs/examples/switch.scn

test:
	@scripts/deps.sh $(TEST_PKGS)
	@$(CMAKE) -S . -B build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build build/test -j $(JOBS)
	cd build/test && ctest --output-on-failure -j $(JOBS)

test-sanitize:
	@scripts/deps.sh $(TEST_PKGS)
	@$(CMAKE) -S . -B build/asan -DCMAKE_BUILD_TYPE=Debug -DKOR_SANITIZE=ON >/dev/null
	@cmake --build build/asan -j $(JOBS)
	cd build/asan && ctest --output-on-failure -j $(JOBS)

build-clang:
	@scripts/deps.sh $(TEST_PKGS) $(CLANG_PKGS)
	@CXX=clang++ $(CMAKE) -S . -B build/clang -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build build/clang -j $(JOBS)

# Every libFuzzer target for FUZZ_SECONDS on a copy of its seed corpus; a
# finding fails (fuzz/run.sh says where the input is).
FUZZ_SECONDS ?= 60
FUZZ_BUILD ?= build/fuzz
fuzz:
	@scripts/deps.sh $(BUILD_PKGS) $(CLANG_PKGS)
	@CXX=clang++ $(CMAKE) -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKOR_BUILD_TESTS=OFF -DKOR_BUILD_FUZZ=ON >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzz-targets
	fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# A real kor-agent under mixed load (command socket, FPM, slow clients) for
# SOAK_SECONDS; fails on p99 latency above 100 ms, memory growth after
# warm-up or the agent's death (tests/soak/KorSoak.cc). SOAK_SEED varies the
# inputs.
SOAK_SECONDS ?= 600
SOAK_SEED ?= 1
soak:
	@scripts/deps.sh $(BUILD_PKGS) libgtest-dev libgmock-dev
	@$(CMAKE) -S . -B build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build build/test -j $(JOBS) --target kor-agent kor-soak
	build/test/tests/kor-soak --seconds $(SOAK_SECONDS) --seed $(SOAK_SEED)

bench:
	@scripts/deps.sh $(BENCH_PKGS)
	@$(CMAKE) -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DKOR_BUILD_TESTS=OFF -DKOR_BUILD_BENCH=ON >/dev/null
	@cmake --build build/bench -j $(JOBS)
	build/bench/bench/kor-bench all

clean:
	rm -rf build
