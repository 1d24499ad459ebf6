# Writes the texts of the page into a C++ source, so that the program needs no files beside it.
#
# cmake -DPAGE=page.html -DSTYLES=a.css|b.css -DSCRIPTS=a.js|b.js -DOUTPUT=page_texts.cpp -P EmbedPage.cmake
#
# STYLES become one text, SCRIPTS another, each in its order. Browsers obey a script or a style whose SHA-256 the page names.

# The base64 of 32 bytes that are given in hexadecimal.
function(base64_of_hash hexadecimal result)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(text "")
  foreach(start RANGE 0 60 6)
    string(SUBSTRING "${hexadecimal}0000" ${start} 6 group)
    foreach(shift 18 12 6 0)
      math(EXPR place "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING ${alphabet} ${place} 1 character)
      string(APPEND text ${character})
    endforeach()
  endforeach()
  string(SUBSTRING ${text} 0 43 text) # 256 bits; the rest is padding
  set(${result} "${text}=" PARENT_SCOPE)
endfunction()

function(append_text name text_file)
  file(READ ${text_file} bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  file(SHA256 ${text_file} hash)
  base64_of_hash(${hash} hash)
  file(APPEND ${OUTPUT}
       "static const unsigned char ${name}_bytes[] = {${bytes}};\n"
       "PageText ${name}() { return {text_of(${name}_bytes, sizeof ${name}_bytes), \"sha256-${hash}\"}; }\n")
endfunction()

function(append_joined name files end_tag)
  string(REPLACE "|" ";" files "${files}")
  foreach(text_file IN LISTS files)
    file(READ ${text_file} text)
    string(TOLOWER "${text}" lower)
    foreach(forbidden "${end_tag}" "<!--")
      string(FIND "${lower}" "${forbidden}" place)
      if(NOT place EQUAL -1)
        message(FATAL_ERROR "${text_file}: \"${forbidden}\" would end it within the page")
      endif()
    endforeach()
  endforeach()
  execute_process(COMMAND ${CMAKE_COMMAND} -E cat ${files} OUTPUT_FILE ${OUTPUT}.${name} COMMAND_ERROR_IS_FATAL ANY)
  append_text(${name} ${OUTPUT}.${name})
endfunction()

file(WRITE ${OUTPUT}
     "#include \"cli/page/page_texts.h\"\n\n#include <cstddef>\n\nnamespace cli {\n\n"
     "static std::string_view text_of(const unsigned char *bytes, std::size_t size) {\n"
     "    return {static_cast<const char *>(static_cast<const void *>(bytes)), size};\n}\n")
append_text(page_frame ${PAGE})
append_joined(page_style "${STYLES}" "</style")
append_joined(page_script "${SCRIPTS}" "</script")
file(APPEND ${OUTPUT} "\n} // namespace cli\n")
