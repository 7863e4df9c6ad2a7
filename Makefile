# Everyday entry points. Each target installs what is missing first, so a fresh Debian machine
# needs nothing but this checkout.
#
#   make demo       build the vanto command and the examples, run the emulated-unit demo,
#                   writes out/receipt.png
#   make test       warnings as errors, AddressSanitizer + UndefinedBehaviorSanitizer, ctest;
#                   then the bindings in a build without sanitizers (Python and Mono cannot load
#                   a sanitized library): pytest, mypy, the Python package installed by pip
#                   into a venv from a fresh clone and as a wheel, the Node.js package installed
#                   with npm from a fresh copy and its tests, the C and C# examples, the ABI check
#   make tsan       the suites under ThreadSanitizer (all but the single-threaded image
#                   arithmetic and barcode read-back, the documented commands and two
#                   command-line cases that draw whole receipts in a child process, all of
#                   which run minutes there, and the
#                   dashboard's browser suite, whose 2-second gallery check needs full speed)
#   make soak       the long runs (a shop's week through the Python package, the 1000-receipt
#                   fault soak, emulator memory, printer-queue bursts), optimised build, one at
#                   a time
#   make bench      Google Benchmark programs, optimised build, then the Python and Node.js
#                   packages against receiptline (installed with npm at benchmark time)
#   make dashboard-screenshot
#                   refreshes docs/dashboard.png, the picture in docs/dashboard.md
#   make fuzz       libFuzzer targets for FUZZ_SECONDS each (clang)
#   make coverage   line coverage of the suites with gcovr, per folder (scripts/coverage-report.sh
#                   measures another checkout's coverage build the same way)
#   make abi-baseline
#                   records the C API's ABI as it now is (after a deliberate change)
#   make format     clang-format every source file

JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60
BENCH_ARGS ?=
CMAKE ?= cmake
# Rebuilds reuse earlier compilations when ccache is installed; nothing depends on it.
LAUNCHER := $(if $(shell command -v ccache 2>/dev/null),\
	-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

SOURCES = $(shell git ls-files '*.cpp' '*.hpp' '*.c' '*.h' 2>/dev/null)

.PHONY: all deps demo test tsan soak bench fuzz coverage format clean dashboard-screenshot \
	abi-baseline bindings-build

all: test

deps:
	@bash scripts/install-deps.sh

build/release/CMakeCache.txt: | deps
	$(CMAKE) -S . -B build/release $(LAUNCHER) -DCMAKE_BUILD_TYPE=Release -DVANTO_BUILD_TESTS=OFF \
		-DVANTO_BUILD_BENCH=ON

demo: deps build/release/CMakeCache.txt
	$(CMAKE) --build build/release -j $(JOBS) --target vanto examples
	build/release/cli/vanto demo --out out

test: deps
	$(CMAKE) -S . -B build/test $(LAUNCHER) -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
		-DCMAKE_C_FLAGS_DEBUG="-g -O1" -DVANTO_WARNINGS_AS_ERRORS=ON \
		-DVANTO_SANITIZE=address,undefined -DVANTO_BUILD_BENCH=ON -DVANTO_BUILD_PYTHON=OFF
	$(CMAKE) --build build/test -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --test-dir build/test --output-on-failure -j $(JOBS) -LE soak
	$(MAKE) bindings-build
	ctest --test-dir build/bindings --output-on-failure -j $(JOBS) -L bindings

# The bindings as interpreters and other compilers load them: no sanitizers, debug information
# for the ABI check, only the libraries and the bindings.
bindings-build: deps
	$(CMAKE) -S . -B build/bindings $(LAUNCHER) -DCMAKE_BUILD_TYPE=Debug \
		-DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DCMAKE_C_FLAGS_DEBUG="-g -O1" \
		-DVANTO_WARNINGS_AS_ERRORS=ON -DVANTO_BUILD_TESTS=OFF -DVANTO_BUILD_TOOLS=OFF \
		-DVANTO_BUILD_BINDING_TESTS=ON -DVANTO_BUILD_C_API=ON -DVANTO_BUILD_PYTHON=ON \
		-DVANTO_BUILD_NODE_TESTS=ON
	$(CMAKE) --build build/bindings -j $(JOBS)

abi-baseline: bindings-build
	tests/bindings/abi_check.sh build/bindings/bindings/c/libvantoconnect-c.so \
		bindings/c/vantoconnect $(CURDIR) bindings/c/abi/libvantoconnect-c.abi --update

# Command-line cases that draw whole receipts or images in a child process: under the race
# checker each takes minutes, and the threads they exercise are covered by the suites that stay.
TSAN_SLOW_CLI = Cli\.PrintsFromOneMachineDoNotInterleave|Cli\.ImagesAreLaidOnWhitePaper

tsan: deps
	$(CMAKE) -S . -B build/tsan $(LAUNCHER) -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
		-DCMAKE_C_FLAGS_DEBUG="-g -O1" -DVANTO_SANITIZE=thread -DVANTO_BUILD_TOOLS=ON \
		-DVANTO_BUILD_PYTHON=OFF
	$(CMAKE) --build build/tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/tests/tsan.supp \
		ctest --test-dir build/tsan --output-on-failure -j $(JOBS) -LE soak \
		-E '^(consumer_|Raster\.|Lanczos\.|ImageDecoding\.|Readme\.|BarcodeReadBack\.|Dashboard\.Browser|$(TSAN_SLOW_CLI))'

# Optimised and without sanitizers, so the long runs measure the product itself.
soak: deps
	$(CMAKE) -S . -B build/soak $(LAUNCHER) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DVANTO_BUILD_BENCH=ON -DVANTO_BUILD_C_API=OFF -DVANTO_BUILD_PYTHON=ON
	$(CMAKE) --build build/soak -j $(JOBS)
	ctest --test-dir build/soak --output-on-failure -L soak

bench: deps build/release/CMakeCache.txt
	$(CMAKE) --build build/release -j $(JOBS)
	@for b in build/release/bench/bench_*; do \
		echo "== $$b"; $$b --benchmark_counters_tabular=true $(BENCH_ARGS) || exit 1; \
	done
	@echo "== bench/compare/receiptline_compare.py"
	/usr/bin/python3 bench/compare/receiptline_compare.py --package build/release/bindings/python \
		--work build/release/bench/compare
	@echo "== bench/compare/node_receiptline_compare.js"
	cd bindings/node && npm install --no-audit --no-fund
	node bench/compare/node_receiptline_compare.js bindings/node build/release/bench/compare

# The browser suite, run on the optimised build, keeps its screenshot where docs/dashboard.md
# shows it.
dashboard-screenshot: deps build/release/CMakeCache.txt
	$(CMAKE) --build build/release -j $(JOBS) --target vanto
	VANTO_CLI=$(CURDIR)/build/release/cli/vanto VANTO_SOURCE_DIR=$(CURDIR) \
		VANTO_SCREENSHOT=$(CURDIR)/docs/dashboard.png /usr/bin/python3 tests/dashboard/browser_test.py

fuzz: deps
	CC=clang CXX=clang++ $(CMAKE) -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DVANTO_BUILD_FUZZ=ON -DVANTO_BUILD_TESTS=OFF -DVANTO_SANITIZE=address,undefined \
		-DVANTO_BUILD_C_API=OFF -DVANTO_BUILD_PYTHON=OFF
	$(CMAKE) --build build/fuzz -j $(JOBS)
	@mkdir -p build/fuzz/corpus
	@for f in build/fuzz/fuzz/fuzz_*; do \
		name=$$(basename $$f); mkdir -p build/fuzz/corpus/$$name; \
		seeds=fuzz/corpus/$${name#fuzz_}; [ -d $$seeds ] || seeds=; \
		echo "== $$name for $(FUZZ_SECONDS) s"; \
		$$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 -artifact_prefix=build/fuzz/ \
			build/fuzz/corpus/$$name $$seeds \
			2>build/fuzz/$$name.log || { tail -40 build/fuzz/$$name.log; exit 1; }; \
		grep -E 'stat::number_of_executed_units|stat::average_exec_per_sec' build/fuzz/$$name.log; \
	done

coverage: deps
	$(CMAKE) -S . -B build/coverage -DCMAKE_BUILD_TYPE=Debug -DVANTO_COVERAGE=ON \
		-DVANTO_BUILD_PYTHON=OFF
	$(CMAKE) --build build/coverage -j $(JOBS)
	@# Counters from earlier runs, and from suites since removed, would count as covered.
	find build/coverage -name '*.gcda' -delete
	status=0; ctest --test-dir build/coverage -j $(JOBS) -E '^consumer_' || status=$$?; \
		scripts/coverage-report.sh && exit $$status

format:
	clang-format -i $(SOURCES)

clean:
	rm -rf build out
