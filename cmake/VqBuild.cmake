# What every target of the project shares: warnings, visibility, sanitizers, versions, sources.

# vq_sources(<out> <glob>...): files below the current folder. The tree is small and its folders
# mean what they hold, so a file belongs to the target of its folder. CMake looks at each build.
function(vq_sources out)
  list(TRANSFORM ARGN PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  file(GLOB found CONFIGURE_DEPENDS ${ARGN})
  set(${out} ${found} PARENT_SCOPE)
endfunction()

# vq_target(<target>): the rules for all code of the project.
function(vq_target target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    # Link-time optimisation would bind calls of OS() and of the allocation operators to the
    # library's own definitions; a program must be able to replace them.
    INTERPROCEDURAL_OPTIMIZATION OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  # Calls of other libraries go straight through the table of addresses: one jump less.
  target_compile_options(${target} PRIVATE -fno-plt)
  if(VQ_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${VQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${VQ_SANITIZE})
  endif()
endfunction()

# vq_debug_info(<target>): where it is asked for.
function(vq_debug_info target)
  if(VQ_DEBUG_INFO)
    target_compile_options(${target} PRIVATE -g)
  endif()
endfunction()

# vq_library(<target> <name>): a shared library, known to clients as Vq::<name>.
function(vq_library target name)
  vq_target(${target})
  vq_debug_info(${target})
  add_library(Vq::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN"
    LINKER_LANGUAGE CXX)
  if(NOT VQ_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# vq_included_details(<out> <root> <header>...): those headers of <root>/Vq/detail/ that the given
# headers reach by including. Only these are part of an installation; the rest stays private.
function(vq_included_details out root)
  set(pending ${ARGN})
  set(details "")
  while(pending)
    list(POP_FRONT pending header)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
    file(STRINGS "${header}" includes REGEX "^[ \t]*#[ \t]*include[ \t]+\"Vq/detail/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE ".*\"(.*)\".*" "${root}/\\1" detail "${line}")
      if(EXISTS "${detail}" AND NOT detail IN_LIST details)
        list(APPEND details "${detail}")
        list(APPEND pending "${detail}")
      endif()
    endforeach()
  endwhile()
  set(${out} ${details} PARENT_SCOPE)
endfunction()
