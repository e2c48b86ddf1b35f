# Turns text files into rows of a C++ table: file name, text.
# usage: cmake -DOUTPUT=FILE -P embed-texts.cmake TEXT-FILE...
set(rows "")
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(number RANGE ${last})
  set(file "${CMAKE_ARGV${number}}")
  if(file MATCHES "\\.json$")
    get_filename_component(name "${file}" NAME)
    file(READ "${file}" text)
    string(APPEND rows "{\"${name}\", R\"embedded(${text})embedded\"},\n")
  endif()
endforeach()
file(WRITE "${OUTPUT}" "${rows}")
