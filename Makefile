# Entry points for people and CI. Every target first makes sure the Debian
# packages the build needs are present (scripts/install-deps.sh is a no-op
# when they are).

JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 120
FUZZ_JOBS ?= $(JOBS)
DEPS := ./scripts/install-deps.sh

.PHONY: all deps demo check check-asan check-tsan bench fuzz install-test clean

all: deps
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

deps:
	@$(DEPS)

demo: deps
	cmake --preset default
	cmake --build --preset default -j $(JOBS)
	./examples/demo.sh build/default/bin

check: deps
	cmake --preset default
	cmake --build --preset default -j $(JOBS)
	ctest --preset default
	./scripts/install-test.sh build/default

check-asan: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

check-tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan

bench: deps
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	./scripts/run-bench.sh build/bench/bin

fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	./scripts/run-fuzz.sh build/fuzz/bin $(FUZZ_SECONDS) $(FUZZ_JOBS)

clean:
	rm -rf build
