# Each subsystem directory is one library of every *.cpp in it that is not a
# test; each has one test executable of its *_test.cpp files. New modules need
# no edit here: drop foo.cpp, foo.h and foo_test.cpp into the directory.
find_package(Threads REQUIRED)

function(add_product_library name dir)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${dir}/*.cpp)
  file(GLOB tests CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${dir}/*_test.cpp)
  if(tests)
    list(REMOVE_ITEM sources ${tests})
  endif()
  if(NOT sources)
    # A subsystem not written yet still links.
    set(placeholder ${CMAKE_BINARY_DIR}/${name}_empty.cpp)
    file(CONFIGURE OUTPUT ${placeholder} CONTENT "namespace {}\n")
    set(sources ${placeholder})
  endif()
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_compile_options(${name} PRIVATE ${PRODUCT_CXX_FLAGS})
  set_property(GLOBAL APPEND PROPERTY ITUNES_IMPORT_LIBRARIES ${name})
  set_property(GLOBAL PROPERTY ITUNES_IMPORT_TESTS_${name} ${tests})
endfunction()
