# What a build for Debian packages differs in from the release build, for `cmake -C`.
macro(always type name value)
  set(${name} "${value}" CACHE ${type} "Set by packaging/settings.cmake" FORCE)
endmacro()

always(STRING CMAKE_BUILD_TYPE Release)
always(STRING CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
# Nothing names the place of the build, debug information included.
set(map -ffile-prefix-map=)
always(STRING CMAKE_CXX_FLAGS
  "${map}${CMAKE_SOURCE_DIR}=/usr/src/vq ${map}${CMAKE_BINARY_DIR}=/usr/src/vq/build")
always(STRING CMAKE_SHARED_LINKER_FLAGS "-Wl,-z,relro,-z,now")
always(STRING CMAKE_EXE_LINKER_FLAGS "-Wl,-z,relro,-z,now -s")
# For the package of debug symbols and the check of the binary interface.
always(BOOL VQ_DEBUG_INFO ON)

# The places of the system, where the loader, gdb and zsh look by themselves.
always(PATH CMAKE_INSTALL_PREFIX /usr)
always(PATH CMAKE_INSTALL_LIBDIR lib/x86_64-linux-gnu)
always(BOOL CMAKE_SKIP_INSTALL_RPATH ON)
always(PATH VQ_GDB_DIR /usr/share/gdb/auto-load/usr/lib/x86_64-linux-gnu)
always(PATH VQ_ZSH_DIR share/zsh/vendor-completions)

always(BOOL VQ_BUILD_TESTS OFF)
always(BOOL VQ_BUILD_EXAMPLES OFF)
always(BOOL VQ_BUILD_BENCH OFF)
