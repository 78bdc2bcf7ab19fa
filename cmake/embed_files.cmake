# cmake -DOUT=file.cc -DHEADER=path.h -DDIRECTORY=directory -DFILES=a.html,b.css -P embed_files.cmake
# Writes a source that holds each file as a std::string_view of namespace wk: live.css as LIVE_CSS.
# HEADER, a path from the root, declares them.
string(REPLACE "," ";" files "${FILES}")
set(text "#include \"${HEADER}\"\n\nnamespace wk {\n\n")
foreach(name ${files})
  file(READ "${DIRECTORY}/${name}" bytes)
  string(REGEX REPLACE "[^A-Za-z0-9]" "_" identifier "${name}")
  string(TOUPPER "${identifier}" identifier)
  string(APPEND text "const std::string_view ${identifier} = R\"file(${bytes})file\";\n\n")
endforeach()
file(WRITE "${OUT}" "${text}}  // namespace wk\n")
