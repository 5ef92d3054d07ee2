# Turns the verifier's word tables into C arrays at build time, so the library
# needs no file at run time. Called as
#   cmake -DOUT=file.cpp -DTABLES="a.txt;b.txt" -P embed_tables.cmake
# Each table becomes `const char* const qvav_table_<name>[]`, one string per
# data line (comments and blank lines dropped), ended by a null pointer.
set(text "// Generated from verifier/tables by embed_tables.cmake; do not edit.\n#include \"qvav_tables.h\"\n\n")
foreach(table ${TABLES})
  get_filename_component(name ${table} NAME_WE)
  file(STRINGS ${table} lines ENCODING UTF-8)
  string(APPEND text "const char* const qvav_table_${name}[] = {\n")
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    if(line STREQUAL "" OR line MATCHES "^#")
      continue()
    endif()
    string(REPLACE "\\" "\\\\" line "${line}")
    string(REPLACE "\"" "\\\"" line "${line}")
    string(APPEND text "    \"${line}\",\n")
  endforeach()
  string(APPEND text "    nullptr};\n\n")
endforeach()
file(WRITE ${OUT}.tmp "${text}")
file(COPY_FILE ${OUT}.tmp ${OUT} ONLY_IF_DIFFERENT)
file(REMOVE ${OUT}.tmp)
