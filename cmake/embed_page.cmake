# Puts the page of the report into a C++ source. Run as a script:
#   cmake -D OUTPUT=page_assets.cpp -D HTML=page.html -D STYLE=page.css "-D SCRIPTS=a.js;b.js"
#         -P embed_page.cmake
# Style and script get the hash that the page's Content-Security-Policy names. The browser hashes
# exactly the bytes between the tags.
cmake_minimum_required(VERSION 3.22)

# The Base64 text of bytes in hexadecimal digits.
function(base64_of_hex hex result)
  set(digits "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  set(text "")
  string(LENGTH "${hex}" length)
  set(at 0)
  # Three bytes, which are six hexadecimal digits, become four digits of Base64.
  while(at LESS length)
    string(SUBSTRING "${hex}" ${at} 6 part)
    string(LENGTH "${part}" part_length)
    string(SUBSTRING "${part}00000" 0 6 part)
    math(EXPR count "(${part_length} / 2) + 1")
    foreach(digit RANGE 3)
      if(digit LESS count)
        math(EXPR index "(0x${part} >> (18 - 6 * ${digit})) & 63")
        string(SUBSTRING "${digits}" ${index} 1 character)
        string(APPEND text "${character}")
      else()
        string(APPEND text "=")
      endif()
    endforeach()
    math(EXPR at "${at} + 6")
  endwhile()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# The definition of a constant with the bytes of a file.
function(define_bytes name file)
  file(READ "${file}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
  string(APPEND source "constexpr char k${name}Bytes[] = {${bytes}};\n")
  string(APPEND constants
         "const std::string_view kPage${name}(k${name}Bytes, sizeof k${name}Bytes);\n")
  set(source "${source}" PARENT_SCOPE)
  set(constants "${constants}" PARENT_SCOPE)
endfunction()

function(define_hash name file)
  file(SHA256 "${file}" hex)
  base64_of_hex("${hex}" hash)
  string(APPEND constants "const std::string_view kPage${name}Hash = \"sha256-${hash}\";\n")
  set(constants "${constants}" PARENT_SCOPE)
endfunction()

set(script "${OUTPUT}.js")
file(WRITE "${script}" "")
foreach(part IN LISTS SCRIPTS)
  file(READ "${part}" text)
  file(APPEND "${script}" "${text}")
endforeach()

set(source "// Made by cmake/embed_page.cmake.\n#include \"cli/report/page_assets.h\"\n\n")
string(APPEND source "namespace zandrel::cli {\n\nnamespace {\n\n")
set(constants "")
define_bytes(Html "${HTML}")
define_bytes(Style "${STYLE}")
define_bytes(Script "${script}")
define_hash(Style "${STYLE}")
define_hash(Script "${script}")
string(APPEND source "\n}  // namespace\n\n${constants}\n}  // namespace zandrel::cli\n")
file(WRITE "${OUTPUT}" "${source}")
