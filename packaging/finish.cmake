# What CPack leaves to be mended in its packages. It runs this when they are made.
find_program(DPKG_DEB dpkg-deb REQUIRED)
set(folder "${CPACK_TOPLEVEL_DIRECTORY}/finish")

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

# The loader's cache is renewed by a trigger, not by scripts of the package's own.
function(finish_libvq14)
  file(REMOVE "${folder}/DEBIAN/postinst" "${folder}/DEBIAN/postrm")
  file(WRITE "${folder}/DEBIAN/triggers" "activate-noawait ldconfig\n")
endfunction()

# Sums by the files' names within the package, data files that nobody runs, and the documents that
# Debian asks of every package.
function(finish_libvq14-dbgsym)
  file(GLOB_RECURSE debugFiles RELATIVE "${folder}" "${folder}/usr/*.debug")
  set(sums "")
  foreach(name IN LISTS debugFiles)
    file(CHMOD "${folder}/${name}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    file(MD5 "${folder}/${name}" sum)
    string(APPEND sums "${sum}  ${name}\n")
  endforeach()
  file(WRITE "${folder}/DEBIAN/md5sums" "${sums}")
  file(MAKE_DIRECTORY "${folder}/usr/share/doc")
  file(CREATE_LINK libvq14 "${folder}/usr/share/doc/libvq14-dbgsym" SYMBOLIC)
endfunction()

foreach(file IN LISTS CPACK_PACKAGE_FILES)
  cmake_path(GET file FILENAME package)
  string(REGEX REPLACE "_.*" "" package "${package}")
  if(COMMAND finish_${package})
    file(REMOVE_RECURSE "${folder}")
    run("${DPKG_DEB}" --raw-extract "${file}" "${folder}")
    cmake_language(CALL finish_${package})
    run("${DPKG_DEB}" --root-owner-group -Zxz --build "${folder}" "${file}")
  endif()
endforeach()
file(REMOVE_RECURSE "${folder}")
