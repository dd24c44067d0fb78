# The Debian packages, made by packaging/build.sh: it configures for the places of the system, where
# neither the library folder nor the search paths are those of a prefix that can be moved.
set(configFile "${PROJECT_BINARY_DIR}/CPackConfig.cmake")
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr" OR NOT CMAKE_SKIP_INSTALL_RPATH)
  file(WRITE "${configFile}"
    "message(FATAL_ERROR \"This build is not for the system's places: use packaging/build.sh\")\n")
  return()
endif()

set(packages libvq14 libvq-dev vq-tools)
set(runtime_package libvq14)
set(development_package libvq-dev)
set(tool_package vq-tools)
set(debianRevision 1)

file(STRINGS packaging/changelog changelogHead LIMIT_COUNT 1)
if(NOT changelogHead MATCHES "^vq \\(${PROJECT_VERSION}-${debianRevision}\\) ")
  message(FATAL_ERROR "packaging/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS packaging/changelog)
find_program(VQ_GZIP gzip REQUIRED)
set(changelog "${PROJECT_BINARY_DIR}/changelog.Debian")
configure_file(packaging/changelog "${changelog}" COPYONLY)
execute_process(COMMAND "${VQ_GZIP}" -9nfk "${changelog}" COMMAND_ERROR_IS_FATAL ANY)

foreach(component runtime development tool)
  set(package ${${component}_package})
  # Left out of `cmake --install`: only Debian wants these.
  install(FILES packaging/copyright "${changelog}.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}"
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
install(FILES packaging/libvq14.lintian-overrides RENAME libvq14
  DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT runtime EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vq)
set(CPACK_PACKAGE_CONTACT "Vq developers <vq@localhost.invalid>")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package says it of itself
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/finish.cmake")
set(CPACK_DEBIAN_PACKAGE_RELEASE ${debianRevision})
set(CPACK_DEBIAN_PACKAGE_SOURCE vq)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# The printers of debuggers are for whoever builds programs, so they go with the headers.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development debugger tool)
set(CPACK_COMPONENT_DEVELOPMENT_GROUP development)
set(CPACK_COMPONENT_DEBUGGER_GROUP development)

# Of the same build, as inline code and layouts go with the library that they were compiled with.
set(sameBuild "libvq14 (= ${PROJECT_VERSION}-${debianRevision})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvq14)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "core utility library of a video application
Strings that copies share, handles, locks, checks and exceptions, settings
files, image metadata, identifiers and a registry of shared objects.
.
This package holds the libraries that programs load.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvq-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${sameBuild}")
# For Vq/Format.h, and for the headers of VqTest/ that are about tests of GoogleTest's.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libfmt-dev, libgtest-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "core utility library of a video application (development)
Strings that copies share, handles, locks, checks and exceptions, settings
files, image metadata, identifiers and a registry of shared objects.
.
This package holds what programs are built with: headers, a CMake package and
pkg-config files, the platform on which programs test themselves, and what
debuggers need to show the library's types.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vq-tools)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${sameBuild}")
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "core utility library of a video application (tool)
Shows, changes and checks settings files, takes lines of image metadata apart,
makes identifiers, computes checksums and translates codes of formats.
.
This package holds the command vq.")

# dpkg-shlibdeps finds the project's own libraries where they were built.
foreach(library VqIPP OS Vq)
  get_target_property(folder ${library} BINARY_DIR)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${folder}")
endforeach()
include(CPack)
