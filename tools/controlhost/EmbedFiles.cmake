# Writes OUTPUT, a C++ source that holds FILES (separated by "|") as they are, under their names below FOLDER:
#   cmake -DOUTPUT=... -DFUNCTION=pageFiles -DFOLDER=... "-DFILES=a|b" -P EmbedFiles.cmake
string(REPLACE "|" ";" FILES "${FILES}")
set(arrays "")
set(entries "")
set(number 0)
foreach(file IN LISTS FILES)
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(REGEX REPLACE "(('[^']*',){24})" "\\1\n" bytes "${bytes}")
  file(RELATIVE_PATH name "${FOLDER}" "${file}")
  string(APPEND arrays "constexpr char file${number}[] = {\n${bytes}'\\0'};\n")
  string(APPEND entries "      {\"${name}\", std::string_view(file${number}, sizeof file${number} - 1)},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"tools/controlhost/EmbeddedFiles.h\"

namespace fliprugair::controlhost {

namespace {

${arrays}
}  // namespace

const std::vector<EmbeddedFile>& ${FUNCTION}() {
  static const std::vector<EmbeddedFile> files = {
${entries}  };
  return files;
}

}  // namespace fliprugair::controlhost
")
