# How every target of this tree is compiled, and the one way to declare a folder's library.

add_library(wk_flags INTERFACE)
target_compile_options(wk_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror
  -fno-omit-frame-pointer -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
target_include_directories(wk_flags INTERFACE ${CMAKE_SOURCE_DIR})
if(WK_SANITIZE)
  # The vptr check needs type information, which the libraries are built without.
  target_compile_options(wk_flags INTERFACE -fsanitize=${WK_SANITIZE} -fno-sanitize-recover=all
                                            -fno-sanitize=vptr)
  target_link_options(wk_flags INTERFACE -fsanitize=${WK_SANITIZE})
endif()
if(WK_FUZZ)
  # A stack frame's memory is only kept where it is asked for at run time, which nobody does. The
  # definition makes some buffers and tables small.
  target_compile_options(wk_flags INTERFACE -fsanitize=fuzzer-no-link
                                            -fsanitize-address-use-after-return=never)
  target_compile_definitions(wk_flags INTERFACE WK_FUZZ)
endif()
# What is released is optimised as what is tested. At -O3 GCC 12 also warns of overlapping copies
# inside its own std::string (its bug 105651).
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
# What limits the harm of a memory error in a released program. Sanitizers find it instead.
if(WK_HARDEN)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  include(CheckPIESupported)
  check_pie_supported()
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection
                      -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()
if(WK_LTO)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  add_link_options(-flto=auto)
endif()

# wk_add_library(FOLDER LINK libraries... PRIVATE libraries...)
# Makes every .cc file of FOLDER one static library named after the folder, slashes turned into
# underscores. main.cc is a program's and is left out.
function(wk_add_library folder)
  cmake_parse_arguments(arg "" "" "LINK;PRIVATE" ${ARGN})
  string(REPLACE "/" "_" name ${folder})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cc)
  list(FILTER sources EXCLUDE REGEX "/main\\.cc$")
  add_library(${name} STATIC ${sources})
  target_compile_options(${name} PRIVATE -fno-exceptions -fno-rtti)
  target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE wk_flags ${arg_PRIVATE})
endfunction()

# wk_add_tests(FOLDER LINK libraries...)
# Makes every *_test.cc file of tests/FOLDER one test program, <folder>_tests, known to CTest.
function(wk_add_tests folder)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  string(REPLACE "/" "_" name ${folder})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${folder}/*_test.cc)
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_tests ${sources})
  target_link_libraries(${name}_tests PRIVATE ${arg_LINK} tests_support wk_flags GTest::gmock
                        GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name}_tests)
  set_tests_properties(${name} PROPERTIES TIMEOUT 1500)
endfunction()

# wk_embed_files(LIBRARY HEADER DIRECTORY files...)
# Puts the files of DIRECTORY into LIBRARY, as embed_files.cmake says.
function(wk_embed_files library header directory)
  set(out ${CMAKE_BINARY_DIR}/embedded/${directory}.cc)
  list(TRANSFORM ARGN PREPEND ${CMAKE_SOURCE_DIR}/${directory}/ OUTPUT_VARIABLE paths)
  list(JOIN ARGN "," names)
  set(script ${CMAKE_SOURCE_DIR}/cmake/embed_files.cmake)
  add_custom_command(OUTPUT ${out}
    COMMAND ${CMAKE_COMMAND} -DOUT=${out} -DHEADER=${header} -DFILES=${names}
            -DDIRECTORY=${CMAKE_SOURCE_DIR}/${directory} -P ${script}
    DEPENDS ${paths} ${script} VERBATIM)
  target_sources(${library} PRIVATE ${out})
endfunction()
