# Builds for a Mac on Debian with the Zig toolchain (clang with Apple's C headers for macOS 11 to
# 13, libc++ and stub libraries of libSystem). tools/mac-cross fetches the toolchain and runs this:
#   cmake -S . -B DIR -G Ninja --toolchain cmake/macos-cross.cmake \
#         -DVELA_ZIG=/path/to/zig -DVELA_MAC_ARCH=aarch64|x86_64
# What it proves: every source a Mac build compiles compiles against Apple's headers with our
# warnings as errors, and the runtime links against libSystem. What it cannot: Qt for macOS is not
# here, so the Qt layers compile against the host's Qt headers and nothing with Qt is linked.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${VELA_MAC_ARCH})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELA_ZIG VELA_MAC_ARCH)
if(NOT EXISTS "${VELA_ZIG}" OR NOT VELA_MAC_ARCH MATCHES "^(aarch64|x86_64)$")
    message(FATAL_ERROR "macos-cross: give -DVELA_ZIG=<zig executable> -DVELA_MAC_ARCH=aarch64|x86_64")
endif()

# macOS 11: the oldest system the toolchain has headers for, and the first on Apple silicon.
set(CMAKE_CXX_COMPILER "${VELA_ZIG}" c++ -target ${VELA_MAC_ARCH}-macos.11.0)
# The rules a Mac's compiler gets that zig's does not take (cmake/macos-cross-rules.cmake).
set(CMAKE_USER_MAKE_RULES_OVERRIDE_CXX "${CMAKE_CURRENT_LIST_DIR}/macos-cross-rules.cmake")
# zig instruments unoptimised code with trapping checks of undefined behaviour; nothing built here
# runs, so it is spared that work.
set(CMAKE_CXX_FLAGS_INIT -fno-sanitize=undefined)

# Headers and libraries come from the toolchain alone: the host's /usr/include holds glibc's, and a
# package that finds a header there (Qt's Vulkan headers) would put it before Apple's. Packages
# still come from the host: its Qt stands in for the Mac's.
get_filename_component(vela_zig_home "${VELA_ZIG}" DIRECTORY)
set(CMAKE_FIND_ROOT_PATH "${vela_zig_home}/lib/libc")
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
execute_process(COMMAND qtpaths6 --query QT_INSTALL_LIBS OUTPUT_VARIABLE vela_host_qt_libs
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
list(APPEND CMAKE_PREFIX_PATH "${vela_host_qt_libs}/cmake")
# Qt's Gui package asks for OpenGL, which on a Mac is a framework; nothing links to it here.
set(OPENGL_gl_LIBRARY /System/Library/Frameworks/OpenGL.framework CACHE FILEPATH "")
set(OPENGL_glu_LIBRARY /System/Library/Frameworks/OpenGL.framework CACHE FILEPATH "")
set(OPENGL_INCLUDE_DIR /System/Library/Frameworks/OpenGL.framework/Headers CACHE PATH "")

# libplist's headers, alone, from the host: a folder that holds only them, so that no other host
# header can be found through it.
execute_process(COMMAND pkg-config --variable=includedir libplist-2.0
                OUTPUT_VARIABLE vela_plist_includes OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(vela_stand_in_includes "${vela_zig_home}/../include" ABSOLUTE)
if(NOT EXISTS "${vela_stand_in_includes}/plist")
    file(MAKE_DIRECTORY "${vela_stand_in_includes}")
    file(CREATE_LINK "${vela_plist_includes}/plist" "${vela_stand_in_includes}/plist" SYMBOLIC)
endif()
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${vela_stand_in_includes}")

# Compiled only on a Mac, because this toolchain lacks what they need:
#   src/entry/Elevation_mac.cpp   Authorization Services (Security.framework), which is not part
#                                 of the C headers and libSystem stubs that zig carries.
set(VELA_COMPILED_ONLY_ON_A_MAC src/entry/Elevation_mac.cpp)

# The runtime is linked here into a library and a program against libSystem's stubs. What it calls
# beyond libSystem the toolchain has no stubs for; these functions, and only these, are defined as
# stand-ins for that link alone. A call to any other function fails the link by name: add it here
# only when it comes from one of these libraries.
set(VELA_MAC_LINK_STAND_INS
    # libplist: not part of macOS (on a Mac, Homebrew's)
    plist_dict_new_iter
    plist_dict_next_item
    plist_free
    plist_from_memory
    plist_get_node_type
    plist_get_string_val
    # libobjc: part of macOS, outside libSystem
    objc_getClass
    objc_msgSend
    sel_registerName)
