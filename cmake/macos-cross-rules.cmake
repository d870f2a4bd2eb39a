# Rules for the cross build of cmake/macos-cross.cmake, read after CMake's rules for a Mac's clang.
# CMake asks a Mac's compiler what it is with -v -Wl,-v; zig's linker takes no -v.
set(CMAKE_CXX_VERBOSE_FLAG "-v")
# Archives are made by zig's own ar and ranlib, which know Mach-O objects.
set(CMAKE_CXX_ARCHIVE_CREATE "\"${VELA_ZIG}\" ar qc <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "\"${VELA_ZIG}\" ar q <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "\"${VELA_ZIG}\" ranlib <TARGET>")
