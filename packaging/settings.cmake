# What a build for Debian packages differs in from the release build: cmake -C packaging/settings.cmake
set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "Compiler options of the release build")
# Nothing names the place of the build, debug information included.
set(CMAKE_CXX_FLAGS
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=/usr/src/vq -ffile-prefix-map=${CMAKE_BINARY_DIR}=/usr/src/vq/build"
  CACHE STRING "Compiler options of all builds")
set(CMAKE_SHARED_LINKER_FLAGS "-Wl,-z,relro,-z,now" CACHE STRING "Linker options of libraries")
set(CMAKE_EXE_LINKER_FLAGS "-Wl,-z,relro,-z,now -s" CACHE STRING "Linker options of programs")
set(VQ_DEBUG_INFO ON CACHE BOOL "For the package of debug symbols and the check of the ABI")

set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Prefix of the system")
set(CMAKE_INSTALL_LIBDIR lib/x86_64-linux-gnu CACHE PATH "Library folder of the system")
set(CMAKE_SKIP_INSTALL_RPATH ON CACHE BOOL "The loader knows the system's folders by itself")
set(VQ_GDB_DIR /usr/share/gdb/auto-load/usr/lib/x86_64-linux-gnu CACHE PATH
  "Where gdb looks for the printers of a library of the system")
set(VQ_ZSH_DIR share/zsh/vendor-completions CACHE PATH "Where zsh looks for what packages install")

set(VQ_BUILD_TESTS OFF CACHE BOOL "Not packaged")
set(VQ_BUILD_EXAMPLES OFF CACHE BOOL "Not packaged")
set(VQ_BUILD_BENCH OFF CACHE BOOL "Not packaged")
