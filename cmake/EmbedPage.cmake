# Writes OUT, a source file with the live page's files below FROM as a table: cmake -DFROM= -DOUT= -P.
set(types html text/html css text/css js text/javascript svg image/svg+xml)
file(GLOB_RECURSE files RELATIVE ${FROM} ${FROM}/*.html ${FROM}/*.css ${FROM}/*.js ${FROM}/*.svg)
set(number 0)
foreach(file ${files})
  file(READ ${FROM}/${file} bytes HEX)
  string(LENGTH "${bytes}" length)
  math(EXPR length "${length} / 2")
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(REGEX MATCH "[a-z]+$" ending ${file})
  list(FIND types ${ending} place)
  math(EXPR place "${place} + 1")
  list(GET types ${place} type)
  string(REGEX REPLACE "^index.html$" "" path ${file})
  string(APPEND contents "constexpr char file${number}[] = {${bytes}};\n")
  string(APPEND rows "    {\"/ui/${path}\", \"${type}; charset=utf-8\", {file${number}, ${length}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUT} "// Made of the live page's files.
#include \"web/wb_Page.h\"

namespace services::web {

namespace {

${contents}
constexpr PageFile files[] = {
${rows}};

}  // namespace

std::span<const PageFile> pageFiles() { return files; }

}  // namespace services::web
")
