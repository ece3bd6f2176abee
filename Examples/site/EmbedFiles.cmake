# cmake -DOUTPUT=file.cpp -DFOLDER=dir -DFILES=a,b -P EmbedFiles.cmake
#
# Writes the C++ source of site::embeddedFiles(): the named files with their bytes, so that the program needs no files
# beside it.

string(REPLACE "," ";" names "${FILES}")
set(arrays "")
set(entries "")
foreach(name IN LISTS names)
  list(FIND names "${name}" index)
  file(READ "${FOLDER}/${name}" bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char kFile${index}[] = {${bytes}};\n")
  string(APPEND entries "    {\"${name}\", {reinterpret_cast<const char*>(kFile${index}), sizeof kFile${index}}},\n")
endforeach()

file(WRITE "${OUTPUT}" "#include \"EmbeddedFile.h\"

namespace site {
namespace {

${arrays}
}  // namespace

std::span<const EmbeddedFile> embeddedFiles() {
  static const EmbeddedFile kFiles[] = {
${entries}  };
  return kFiles;
}

}  // namespace site
")
