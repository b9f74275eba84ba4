# Writes a C++ source holding files as byte arrays, and the README's resource input table.
#
# cmake -DOUTPUT=file.cpp -DREADME=README.md -DFILES=dir/a.html,dir/b.js -P embed.cmake
# Each file is served at "/" and its name, typed by its extension. The table is the README's lines from the header "| Resource | Method" to the first line that
# is not a table row; it is served as "/input-table.md" (text/markdown).

file(STRINGS "${README}" readme_lines ENCODING UTF-8)
set(table "")
set(in_table FALSE)
foreach(line IN LISTS readme_lines)
    if(line MATCHES "^\\| Resource \\| Method \\|")
        set(in_table TRUE)
    endif()
    if(in_table)
        if(NOT line MATCHES "^\\|")
            break()
        endif()
        string(APPEND table "${line}\n")
    endif()
endforeach()
if(table STREQUAL "")
    message(FATAL_ERROR "${README} has no resource input table")
endif()
get_filename_component(table_file "${OUTPUT}.input-table.md" ABSOLUTE)
file(WRITE "${table_file}" "${table}")
string(REPLACE "," ";" files "${FILES}")
list(APPEND files "${table_file}")

set(arrays "")
set(entries "")
set(index 0)
foreach(path IN LISTS files)
    get_filename_component(name "${path}" NAME)
    get_filename_component(extension "${path}" LAST_EXT)
    if(name MATCHES "input-table\\.md$")
        set(name "input-table.md")
    endif()
    set(url "/${name}")
    if(extension STREQUAL ".html")
        set(type "text/html")
    elseif(extension STREQUAL ".css")
        set(type "text/css")
    elseif(extension STREQUAL ".js")
        set(type "text/javascript")
    else()
        set(type "text/markdown")
    endif()
    string(APPEND type "; charset=utf-8")
    file(READ "${path}" hex HEX)
    string(LENGTH "${hex}" hex_length)
    math(EXPR size "${hex_length} / 2")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
    string(APPEND arrays "char const kFile${index}[] = {${bytes}'\\0'};\n")
    string(APPEND entries "    {\"${url}\", \"${type}\", kFile${index}, ${size}},\n")
    math(EXPR index "${index} + 1")
endforeach()

file(WRITE "${OUTPUT}.new" "// Generated from devhost/console/ and the README by embed.cmake; do not edit.
#include \"devhost/console_assets.h\"

#include <cstring>

namespace tolmahost::console {

namespace {

${arrays}
Asset const kAssets[] = {
${entries}};

} // namespace

Asset const* findAsset(char const* path) {
    if (std::strcmp(path, \"/\") == 0)
        path = \"/index.html\";
    for (Asset const& asset : kAssets) {
        if (std::strcmp(asset.path, path) == 0)
            return &asset;
    }
    return nullptr;
}

} // namespace tolmahost::console
")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.new")
