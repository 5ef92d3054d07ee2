# Thin wrapper over CMake. `make`, `make test`, `make test-asan`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
TSAN_BUILD ?= build-tsan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps configure test test-asan test-tsan fuzz fuzz-smoke fuzz-long demo clean

all: configure
	cmake --build $(BUILD) -j $(JOBS)

deps:
	@scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release

test: all
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DQV_SANITIZE=ON -DQV_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

# libFuzzer targets (clang) in their own build folder, with seed corpora from the sample world.
fuzz: all
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQV_BUILD_FUZZ=ON -DQV_BUILD_TESTS=OFF -DQV_BUILD_BENCH=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzz_all
	fuzz/seeds.sh $(BUILD)/cli/ncoa $(FUZZ_BUILD)

# Each fuzz target for a fixed number of runs over its seeds and regression cases.
fuzz-smoke: fuzz
	fuzz/smoke.sh $(FUZZ_BUILD)

# Each fuzz target for FUZZ_SECONDS (600) of CPU time, FUZZ_PARALLEL (2) at a
# time, at nice FUZZ_NICE (19); corpora grow under $(FUZZ_BUILD)/fuzz-long.
FUZZ_SECONDS  ?= 600
FUZZ_PARALLEL ?= 2
fuzz-long: fuzz
	fuzz/long.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_PARALLEL)

# Lookups from four threads on one data object, and `ncoa match`, under ThreadSanitizer.
test-tsan: deps
	cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQV_TSAN=ON -DQV_BUILD_BENCH=OFF
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target qvtests ncoa
	scripts/tsan-run.sh $(TSAN_BUILD)

# Writes the sample data set packed, as the USPS delivers it, unpacks it,
# proves it and runs the sample mailing list against it; then the same world
# as a flat data set, indexed, which must answer every record alike; then the
# client test run on the sample world.
demo: all
	rm -rf $(BUILD)/sample-data $(BUILD)/sample-flat
	$(BUILD)/cli/ncoa dataset build data/sample/world.json $(BUILD)/sample-data --packed \
	  --client-test $(BUILD)/sample-client-test.txt
	@echo
	$(BUILD)/cli/ncoa dataset unpack $(BUILD)/sample-data
	@echo
	$(BUILD)/cli/ncoa prove --data $(BUILD)/sample-data
	@echo
	@echo "demo: wrote the sample data set packed to $(BUILD)/sample-data, unpacked its hash sections,"
	@echo "      opened it with qvncoa_init_data_obj and proved every file against the SHA-1 lists of its two disc headers."
	@echo
	$(BUILD)/cli/ncoa match --data $(BUILD)/sample-data --in data/sample/list.csv \
	  --out $(BUILD)/sample-result.csv --report $(BUILD)/sample-report.txt \
	  --company "SAMPLE LIST SERVICES" --license-id DEMO01 --list-name "SAMPLE LIST" --codes
	@echo
	@echo "First result rows ($(BUILD)/sample-result.csv), input columns and the answer:"
	@head -n 8 $(BUILD)/sample-result.csv
	@echo
	@echo "Rows with a move found:"
	@rows=$$(tail -n +2 $(BUILD)/sample-result.csv | grep -v ',S,00,' | head -n 10); \
	  if [ -n "$$rows" ]; then echo "$$rows"; else echo "  (none: every record answered 00)"; fi
	@echo
	@echo "Processing summary report ($(BUILD)/sample-report.txt):"
	@cat $(BUILD)/sample-report.txt
	@echo
	@echo "== The same world as a flat data set, with its 3-byte prefix index"
	$(BUILD)/cli/ncoa dataset build --kind flat data/sample/world.json $(BUILD)/sample-flat
	$(BUILD)/cli/ncoa dataset index $(BUILD)/sample-flat
	$(BUILD)/cli/ncoa prove --data $(BUILD)/sample-flat
	$(BUILD)/cli/ncoa match --data $(BUILD)/sample-flat --flat-index 3 --in data/sample/list.csv \
	  --out $(BUILD)/sample-result-flat.csv
	cmp $(BUILD)/sample-result.csv $(BUILD)/sample-result-flat.csv
	@echo "demo: the flat sample answers every record of the list exactly as the hash sample."
	@echo
	@echo "== The USPS client test run on the sample world"
	$(BUILD)/cli/ncoa client-test --data $(BUILD)/sample-data --in $(BUILD)/sample-client-test.txt \
	  --out $(BUILD)/sample-client-answers.txt --tag DEMO --form3553 $(BUILD)/sample-form3553.txt \
	  --list-name "SAMPLE LIST" --processor "SAMPLE LIST SERVICES"
	@echo
	@cat $(BUILD)/sample-form3553.txt

# Libraries, headers, ncoa, the name knowledge base, pkg-config and CMake
# package files (and the Python module when pybind11 is there) under PREFIX.
PREFIX ?= /usr/local
.PHONY: install
install: all
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
