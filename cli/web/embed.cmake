# Writes OUT, a C++ file defining one byte array per file of IN (a list),
# named by NAMES (both split by "|"), so the web page and the API document
# ship in the binary.
string(REPLACE "|" ";" IN "${IN}")
string(REPLACE "|" ";" NAMES "${NAMES}")
set(text "// Generated from cli/web at build time; do not edit.\n#include <cstddef>\nnamespace ncoa_cli {\n")
list(LENGTH IN count)
math(EXPR last "${count} - 1")
foreach(i RANGE ${last})
  list(GET IN ${i} file)
  list(GET NAMES ${i} name)
  file(READ "${file}" hex HEX)
  string(LENGTH "${hex}" len)
  math(EXPR bytes "${len} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," body "${hex}")
  string(APPEND text "extern const unsigned char ${name}[] = {${body}0};\nextern const std::size_t ${name}Size = ${bytes};\n")
endforeach()
string(APPEND text "}  // namespace ncoa_cli\n")
file(WRITE "${OUT}" "${text}")
