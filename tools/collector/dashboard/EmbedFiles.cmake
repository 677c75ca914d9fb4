# Writes OUTPUT, a C++ source defining QMDashboardAssets::all() with the bytes of every file in
# FILES (a ;-separated list, each served as /dashboard/<file name>). Run at build time, so the
# collector serves its page from anywhere without files beside the binary.
set(entries "")
set(arrays "")
set(index 0)
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  file(READ "${file}" hex HEX)
  string(LENGTH "${hex}" hexLength)
  math(EXPR size "${hexLength} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND arrays "const unsigned char kFile${index}[] = {${bytes}};\n")
  string(APPEND entries "        {\"/dashboard/${name}\", std::string_view(reinterpret_cast<const char*>(kFile${index}), ${size})},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE "${OUTPUT}.tmp" "// Generated from tools/collector/dashboard/ by EmbedFiles.cmake; do not edit.
#include \"collector/QMDashboardAssets.h\"

namespace veyrakit {

namespace {
${arrays}}  // namespace

const std::vector<QMDashboardAssets::Asset>& QMDashboardAssets::all() {
    static const std::vector<Asset> assets{
${entries}    };
    return assets;
}

}  // namespace veyrakit
")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
