# Thin wrapper over CMake: every target bootstraps first, so a fresh clone needs only `make`.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
SANITIZE ?= 0
TSAN ?= 0

# Let ccache share objects between clones of the tree (paths are hashed relative to it).
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := 1

ifeq ($(SANITIZE),1)
  BUILD_DIR := build-sanitize
  CMAKE_FLAGS += -DVEYRAKIT_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DVEYRAKIT_BUILD_BENCH=OFF
else ifeq ($(TSAN),1)
  BUILD_DIR := build-tsan
  CMAKE_FLAGS += -DVEYRAKIT_TSAN=ON -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DVEYRAKIT_BUILD_BENCH=OFF -DVEYRAKIT_BUILD_TOOLS=OFF
else
  CMAKE_FLAGS += -DCMAKE_BUILD_TYPE=RelWithDebInfo
endif

.PHONY: all bootstrap configure build test demo install clean bench bench-long format format-check tidy fuzz soak

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	@cmake -S . -B $(BUILD_DIR) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

ifeq ($(TSAN),1)
# ThreadSanitizer: only the areas whose tests involve a second thread (labelled "threads").
test: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target veyrakit_thread_tests
	@cd $(BUILD_DIR) && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/tests/tsan.supp \
	  ctest --output-on-failure -j $(JOBS) --timeout 300 -L threads
else
test: build
	@cd $(BUILD_DIR) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 \
	  ctest --output-on-failure -j $(JOBS) --timeout 300
endif

demo: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target veyrakit-demo
	@$(BUILD_DIR)/tools/demo/veyrakit-demo $(ARGS)

bench: build
	@$(BUILD_DIR)/bench/veyrakit-bench --benchmark_filter=-BM_LongRealPlayback

# Ten minutes of real playback in each of three ways (about 35 minutes in all).
bench-long: build
	@$(BUILD_DIR)/bench/veyrakit-bench --benchmark_filter=BM_LongRealPlayback

install: build
	@cmake --install $(BUILD_DIR) $(if $(PREFIX),--prefix $(PREFIX),)

clean:
	@rm -rf build build-sanitize build-tsan build-fuzz

# Every C++ source and header the project owns, formatted by the root .clang-format.
FORMAT_SOURCES = $(shell git ls-files -- '*.cpp' '*.h')

format:
	@clang-format -i $(FORMAT_SOURCES)

format-check:
	@clang-format --dry-run --Werror $(FORMAT_SOURCES)

# clang-tidy (bugprone and performance checks, .clang-tidy) over the library, the backends and
# the tools, with the compile commands of the normal build; any finding fails.
TIDY_SOURCES = $(shell git ls-files -- 'src/*.cpp' 'backends/*.cpp' 'tools/*.cpp')

tidy: configure
	@run-clang-tidy -quiet -p $(BUILD_DIR) -j $(JOBS) -extra-arg=-Wno-unknown-warning-option $(TIDY_SOURCES) \
	  > $(BUILD_DIR)/tidy.log 2>&1 || { grep -E 'error:|warning:' $(BUILD_DIR)/tidy.log | sort -u; exit 1; }
	@echo "clang-tidy: no findings"

# libFuzzer targets (fuzz/), built with clang, ASan and UBSan in build-fuzz/; each runs
# FUZZ_SECONDS from its seed corpus (fuzz/corpus/<target>, new finds kept in build-fuzz/corpus/).
# A crash leaves its input in build-fuzz/crashes/ and fails the run.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS = session_start_answer periodical_answer rest_loader_answer playlist scenario user_defaults \
  stored_viewer_id collector_policy collector_request
# Inputs as large as what they stand for, where size is the point (target:bytes; libFuzzer's own
# choice for the others): JSON answers nested past the depth bound, playlists past their cap,
# the collector's requests past their bounds (64 levels, 1,000 keys).
FUZZ_MAX_LEN = session_start_answer:262144 periodical_answer:262144 rest_loader_answer:262144 \
  user_defaults:262144 stored_viewer_id:262144 playlist:2228224 collector_request:262144

fuzz: bootstrap
	@cmake -S . -B build-fuzz -DVEYRAKIT_FUZZ=ON -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target veyrakit_fuzz_targets
	@mkdir -p build-fuzz/crashes
	@for target in $(FUZZ_TARGETS); do \
	  mkdir -p build-fuzz/corpus/$$target; \
	  echo "== fuzz_$$target ($(FUZZ_SECONDS) s)"; \
	  maxlen=$$(printf '%s\n' $(FUZZ_MAX_LEN) | sed -n "s/^$$target://p"); \
	  build-fuzz/fuzz/fuzz_$$target -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 $${maxlen:+-max_len=$$maxlen} \
	    -artifact_prefix=build-fuzz/crashes/$$target- build-fuzz/corpus/$$target fuzz/corpus/$$target \
	    > build-fuzz/fuzz_$$target.log 2>&1 \
	    || { tail -40 build-fuzz/fuzz_$$target.log; exit 1; }; \
	  grep -E '^stat::number_of_executed_units' build-fuzz/fuzz_$$target.log; \
	done

# Hours of monitored playback on the virtual clock against a faulty stubbed server (tests/soak);
# prints heap, callback durations and checks per simulated hour. SOAK_ARGS: --hours, --seed, --player.
soak: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target veyrakit-soak
	@$(BUILD_DIR)/tests/veyrakit-soak $(SOAK_ARGS)
