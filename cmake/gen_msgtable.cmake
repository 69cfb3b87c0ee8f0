# Turns a gencat source (nls/<name>.msg) into a C++ table of its first set:
# one line "{key, \"text\"}," per message, so that the built-in default texts
# and the compiled catalog come from the same file.
# Usage: cmake -DSRC=<msg file> -DOUT=<inc file> -P gen_msgtable.cmake
file(STRINGS ${SRC} lines ENCODING UTF-8)
set(body "// Generated from ${SRC}; do not edit.\n")
foreach(line IN LISTS lines)
  if(line MATCHES "^([0-9]+) (.*)$")
    set(key ${CMAKE_MATCH_1})
    set(text "${CMAKE_MATCH_2}")
    string(REPLACE "\\" "\\\\" text "${text}")
    string(REPLACE "\"" "\\\"" text "${text}")
    string(APPEND body "{${key}, \"${text}\"},\n")
  endif()
endforeach()
file(WRITE ${OUT}.tmp "${body}")
file(COPY_FILE ${OUT}.tmp ${OUT} ONLY_IF_DIFFERENT)
