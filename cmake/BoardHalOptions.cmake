# Compiler and linker settings of the project's targets.

add_library(board_hal_warnings INTERFACE)
target_compile_options(board_hal_warnings INTERFACE
  -Wall -Wextra -Wconversion $<$<BOOL:${BOARD_HAL_WERROR}>:-Werror>
  # In groups, a file's names shadow those of its neighbours.
  $<$<NOT:$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wshadow>
  # Wrong in g++ 12 where optimised texts are joined.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>)

add_library(board_hal_sanitizers INTERFACE)
if(BOARD_HAL_SANITIZE)
  target_compile_options(board_hal_sanitizers INTERFACE
    -fsanitize=${BOARD_HAL_SANITIZE} -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(board_hal_sanitizers INTERFACE -fsanitize=${BOARD_HAL_SANITIZE})
endif()

# The tests' own code does without the checks for undefined behaviour: it is most of
# what is compiled, and none of what is shipped.
add_library(board_hal_test_sanitizers INTERFACE)
if(BOARD_HAL_SANITIZE)
  string(REPLACE ",undefined" "" sanitize_tests "${BOARD_HAL_SANITIZE}")
  target_compile_options(board_hal_test_sanitizers INTERFACE
    -fsanitize=${sanitize_tests} -fno-omit-frame-pointer)
  target_link_options(board_hal_test_sanitizers INTERFACE -fsanitize=${BOARD_HAL_SANITIZE})
endif()

# Presets compile sources in groups, which takes a quarter of the time. These
# files have names of their own that others of their target have, too.
function(board_hal_compile_alone)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# A shared library that runs on the controller: C++20 without its runtime, and
# nothing exported but its list.
function(board_hal_library_options target)
  target_link_libraries(${target} PRIVATE
    $<BUILD_INTERFACE:board_hal_warnings> $<BUILD_INTERFACE:board_hal_sanitizers>)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    # Every access to the hardware is a call that a virtual board or a test can
    # stand in for: no fortified variants, no rewriting of one output call into
    # another.
    -U_FORTIFY_SOURCE -fno-builtin-printf -fno-builtin-puts)
  if(BOARD_HAL_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage)
    target_link_options(${target} PRIVATE --coverage)
  endif()
  set_target_properties(${target} PROPERTIES
    UNITY_BUILD OFF # the same objects in every build
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  # --as-needed leaves the C++ runtime out of the dependencies; the exports test
  # fails if something starts to need it.
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-z,relro -Wl,-z,now)
  if(NOT BOARD_HAL_SANITIZE)
    # Divisions that a processor has no instruction for come from the compiler's
    # archive, not from a library of its own.
    target_link_options(${target} PRIVATE -static-libgcc -Wl,-z,defs)
  endif()
endfunction()
