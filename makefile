# The engine alone, with nothing but make and a C++ compiler (no CMake, no GoogleTest): the
# build that engine-testing frameworks such as OpenBench run. It compiles what the CMake
# build's engine compiles, with the same flags, and embeds the network and the three- and
# four-man tables from the same templates.
#
#   make [-j] [EXE=NAME] [CXX=COMPILER] [ARCH=LEVEL] [EVALFILE=NETWORK]
#
# EXE      the binary, left beside this makefile (default tesmar)
# ARCH     native (default), portable (any x86-64 with popcnt and SSE4.1, any ARMv8 on ARM;
#          the evaluation still takes the widest form the processor has), or any -march level such as
#          x86-64-v3 (AVX2) or x86-64-v4 (AVX-512). TESMAR_MARCH=LEVEL and TESMAR_PORTABLE=ON
#          are read as in the CMake build.
# EVALFILE the network blob to embed (default data/tesmar.net)
# OBJDIR   where objects go (default build-make/ARCH)

EXE ?= tesmar
TESMAR_MARCH ?= native
ARCH ?= $(TESMAR_MARCH)
ifneq ($(filter ON On on 1 YES Yes yes TRUE True true,$(TESMAR_PORTABLE)),)
  ARCH := portable
endif
EVALFILE ?= data/tesmar.net
SYZYGY ?= data/syzygy
OBJDIR ?= build-make/$(ARCH)

# The processor family and the system the engine is built for: the compiler's own target, so
# that CXX=aarch64-linux-gnu-g++ builds for 64-bit ARM on an x86 machine.
TARGET := $(shell $(CXX) -dumpmachine)
ARM64 := $(if $(filter aarch64% arm64%,$(TARGET)),1)
DARWIN := $(if $(findstring darwin,$(TARGET)),1)
WINDOWS := $(if $(findstring mingw,$(TARGET))$(filter Windows_NT,$(OS)),1)

ifeq ($(ARCH)$(ARM64),portable1)
  ARCH_FLAGS := -march=armv8-a -DTESMAR_PORTABLE_BUILD
else ifeq ($(ARCH),portable)
  ARCH_FLAGS := -msse4.1 -mpopcnt -DTESMAR_PORTABLE_BUILD
else ifeq ($(ARCH)$(ARM64),native1)
  # Clang on ARM knows -mcpu=native only.
  ARCH_FLAGS := -mcpu=native
else
  ARCH_FLAGS := -march=$(ARCH)
endif

TESMAR_CXXFLAGS := -O3 -DNDEBUG $(ARCH_FLAGS) -Wall -Wextra -std=c++20 -Isrc -MMD -MP $(CXXFLAGS)
# Segments on 2 MB boundaries in the file too, so the embedded network can be mapped with
# huge pages (ELF linkers only). A Windows executable is linked statically: no DLL of the
# compiler's run-time beside it.
ELF_LDFLAGS := -Wl,-z,max-page-size=0x200000 -Wl,-z,common-page-size=0x200000
TESMAR_LDFLAGS := $(if $(DARWIN),,$(if $(WINDOWS),-static,$(ELF_LDFLAGS))) -pthread $(LDFLAGS)

# Each evaluation form is compiled for its own instruction set, whatever ARCH says; the
# engine calls the one its ARCH has (or, portable, the widest the processor has).
FORM_FLAGS_form_plain := -fno-tree-vectorize
FORM_FLAGS_form_sse41 := -march=x86-64 -mssse3 -msse4.1 -mpopcnt
FORM_FLAGS_form_avx2 := -march=x86-64-v3
FORM_FLAGS_form_avx512 := -march=x86-64-v4
FORM_FLAGS_form_avx512_vnni := -march=x86-64-v4 -mavx512vnni
FORM_FLAGS_form_neon := -march=armv8-a
FORM_FLAGS_form_neon_dotprod := -march=armv8.2-a+dotprod

# The platform's own files (memory pages, table files) and the evaluation forms of this
# processor family; the others can't be compiled here.
SOURCES := $(wildcard src/*/*.cpp)
ifeq ($(WINDOWS),1)
  SOURCES := $(filter-out src/platform/%_posix.cpp,$(SOURCES))
else
  SOURCES := $(filter-out src/platform/%_windows.cpp,$(SOURCES))
endif
ifeq ($(ARM64),1)
  SOURCES := $(filter-out src/eval/form_sse41.cpp src/eval/form_avx%.cpp,$(SOURCES))
else
  SOURCES := $(filter-out src/eval/form_neon%.cpp,$(SOURCES))
endif
OBJECTS := $(SOURCES:%.cpp=$(OBJDIR)/%.o) $(OBJDIR)/generated/tesmar_network.o $(OBJDIR)/generated/tesmar_tables.o

# The size of a network blob has one home, the CMake module that checks it.
NETWORK_SIZE := $(shell sed -n 's/^set(TESMAR_NETWORK_SIZE \([0-9]*\))$$/\1/p' cmake/network.cmake)
NETWORK_PATH := $(abspath $(EVALFILE))
SYZYGY_PATH := $(abspath $(SYZYGY))
SYZYGY_FILES := $(wildcard $(SYZYGY_PATH)/*.rtbw $(SYZYGY_PATH)/*.rtbz)

.PHONY: all clean FORCE
all: $(EXE)

$(EXE): $(OBJECTS)
	$(CXX) $(OBJECTS) -o $@ $(TESMAR_LDFLAGS)

$(OBJDIR)/%.o: %.cpp
	@mkdir -p $(dir $@)
	$(CXX) $(TESMAR_CXXFLAGS) $(FORM_FLAGS_$(basename $(notdir $<))) -c $< -o $@

# The generated sources are written on every run but replaced only when their text changes
# (another EVALFILE or SYZYGY), so that make rebuilds exactly what changed. The data is
# pulled in by .incbin, hence the objects' dependence on the files themselves.
$(OBJDIR)/generated/tesmar_network.cpp: FORCE
	@mkdir -p $(dir $@)
	@size=$$(wc -c <"$(NETWORK_PATH)" | tr -d ' ') && [ "$$size" = "$(NETWORK_SIZE)" ] || \
	  { echo "Network blob $(NETWORK_PATH) has $$size bytes; a network of this engine has exactly $(NETWORK_SIZE)"; exit 1; }
	@sed -e 's|@NETWORK_FILE@|$(NETWORK_PATH)|g' -e 's|@NETWORK_SIZE@|$(NETWORK_SIZE)|g' \
	  cmake/embedded_network.cpp.in >$@.new
	@cmp -s $@.new $@ && rm $@.new || mv $@.new $@

$(OBJDIR)/generated/tesmar_tables.cpp: FORCE
	@mkdir -p $(dir $@)
	@sh scripts/embed_syzygy.sh "$(SYZYGY_PATH)" $@.new
	@cmp -s $@.new $@ && rm $@.new || mv $@.new $@

$(OBJDIR)/generated/tesmar_network.o: $(NETWORK_PATH)
$(OBJDIR)/generated/tesmar_tables.o: $(SYZYGY_FILES)
$(OBJDIR)/generated/%.o: $(OBJDIR)/generated/%.cpp
	$(CXX) $(TESMAR_CXXFLAGS) -fno-lto -c $< -o $@

clean:
	rm -rf $(OBJDIR)

FORCE:

-include $(OBJECTS:.o=.d)
