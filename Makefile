# The front door: each target installs what is missing (Debian 12, as root or through sudo), builds and runs.
#   make play [SOURCE="file or rtsp address, several make a grid"]    ($$ stands for a literal $ in it)
#   make test | bench | sanitize (asan, tsan) | fuzz [FUZZ_SECONDS=60] | windows | check | format | clean
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60
export JOBS
# In the environment, where no shell reads the &, ? and ; of an address.
export SOURCE

.PHONY: all test play bench sanitize asan tsan fuzz windows check format clean

all: test

# $(call build,PRESET,FOLDER)
build = cmake --preset $(1) && cmake --build $(2) -j $(JOBS)

test:
	scripts/install-deps test
	$(call build,default,build)
	scripts/run-tests build

play:
	scripts/install-deps build
	$(call build,play,build)
	scripts/play

bench:
	scripts/install-deps bench
	$(call build,bench,build)
	scripts/bench

sanitize: asan tsan

asan:
	scripts/install-deps test
	$(call build,asan,build-asan)
	scripts/run-tests build-asan

tsan:
	scripts/install-deps test
	$(call build,tsan,build-tsan)
	scripts/run-tests build-tsan

fuzz:
	scripts/install-deps check
	$(call build,fuzz,build-fuzz) --target fuzzers
	scripts/fuzz build-fuzz $(FUZZ_SECONDS)

windows:
	scripts/install-deps windows
	$(call build,windows,build-windows)
	scripts/check-windows build-windows

check:
	scripts/install-deps check
	scripts/check

format:
	scripts/install-deps check
	git ls-files -z -- '*.h' '*.c' '*.cpp' | xargs -0 clang-format -i

clean:
	rm -rf build build-asan build-tsan build-clang build-fuzz build-windows
