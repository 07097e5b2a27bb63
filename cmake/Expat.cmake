# expat reads the libraries that are not in the classic line layout
# (Debian: libexpat1-dev, and libexpat1-dev:<arch> for a cross-build).
# Everything links it through the target itunes_expat.
add_library(itunes_expat INTERFACE)
if(CMAKE_CROSSCOMPILING)
  # The target's package is multiarch: its archive lives under
  # /usr/lib/<triple>, outside the cross toolchain's root, and its header in
  # /usr/include, which must come after the toolchain's own system headers.
  # The archive is linked so that the program needs no expat on the box.
  find_library(ITUNES_IMPORT_EXPAT_ARCHIVE NAMES libexpat.a
    PATHS /usr/lib/${ITUNES_IMPORT_TARGET_TRIPLE} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ITUNES_IMPORT_EXPAT_ARCHIVE)
    message(FATAL_ERROR "cross-building needs expat for the target (Debian: libexpat1-dev:arm64)")
  endif()
  target_link_libraries(itunes_expat INTERFACE ${ITUNES_IMPORT_EXPAT_ARCHIVE})
  target_compile_options(itunes_expat INTERFACE -idirafter /usr/include)
else()
  find_package(EXPAT REQUIRED)
  target_link_libraries(itunes_expat INTERFACE EXPAT::EXPAT)
endif()
