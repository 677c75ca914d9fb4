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

.PHONY: all bootstrap configure build test demo install clean bench format format-check tidy

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
	@$(BUILD_DIR)/bench/veyrakit-bench

install: build
	@cmake --install $(BUILD_DIR) $(if $(PREFIX),--prefix $(PREFIX),)

clean:
	@rm -rf build build-sanitize build-tsan

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
