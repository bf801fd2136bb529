# Compiler settings shared by every target of the project.

# Warnings are errors on our own code only; third-party code (GoogleTest built
# from source for Windows) keeps its own flags.
function(vantry_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror -Wnon-virtual-dtor)
endfunction()

if(VANTRY_SANITIZE)
  list(JOIN VANTRY_SANITIZE "," _vantry_sanitizers)
  add_compile_options(-fsanitize=${_vantry_sanitizers} -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${_vantry_sanitizers})
  if("undefined" IN_LIST VANTRY_SANITIZE)
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

if(MINGW)
  # C99-conformant printf family (so %llu and %zu behave as on Linux), and a
  # runtime linked in statically so that modules import only system DLLs.
  add_compile_definitions(__USE_MINGW_ANSI_STDIO=1 WIN32_LEAN_AND_MEAN NOMINMAX)
  add_link_options(-static -static-libgcc -static-libstdc++)
endif()

# Adds a GoogleTest program. Each program is one ctest entry: starting a
# process under Wine is slow, so cases are not registered one by one. Every
# program writes its results as XML, which scripts/test.sh adds up.
function(vantry_add_gtest name)
  cmake_parse_arguments(ARG "THREADED" "" "SOURCES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE vantrycommon vantry_test_support)
  vantry_warnings(${name})
  # A relative output path: Wine programs do not understand Unix paths.
  add_test(NAME ${name}
           COMMAND ${name} --gtest_output=xml:test-results/${name}.xml
           WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600 LABELS "gtest")
  if(ARG_THREADED)
    set_property(TEST ${name} APPEND PROPERTY LABELS "threaded")
  endif()
endfunction()
