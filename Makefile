# The commands of README.md. Every target installs what is missing first.
BUILD ?= build
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps build run test bench check fuzz install package clean

all: build

deps:
	@bash scripts/deps.sh

build: deps
	@cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(BUILD)

# Starts Pictavia; on a machine without a display, on a private virtual one.
run: build
	@bash scripts/run.sh $(BUILD)

test: build
	@cd $(BUILD) && ctest --output-on-failure --timeout 300 -j 2

bench: build
	@bash bench/run.sh $(BUILD)

# Style: clang-format in dry-run mode, then clang-tidy over the sources.
check: build
	@bash scripts/check-format.sh
	@run-clang-tidy -quiet -p $(BUILD) '$(CURDIR)/src/' >$(BUILD)/clang-tidy.log 2>&1 \
		|| { grep -E 'error:|warning:' $(BUILD)/clang-tidy.log | sort -u; exit 1; }
	@echo "check: clean"

# libFuzzer builds of the fuzz targets (clang); run one with build-fuzz/fuzz/<target>.
fuzz: deps
	@CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DPICTAVIA_FUZZ=ON >/dev/null
	@cmake --build build-fuzz --target $$(cd fuzz && ls fuzz_*.cpp | sed 's/\.cpp$$//')

install: build
	@cmake --install $(BUILD)
	@command -v update-desktop-database >/dev/null && update-desktop-database -q || true

package: build
	@cd $(BUILD) && cpack

clean:
	rm -rf $(BUILD) build-fuzz
