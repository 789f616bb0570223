# kestrel_embed_resources(<target>
#   IDENTIFIER <bundle identifier>
#   FUNCTION <qualified C++ function name, e.g. kestrel::registerResources>
#   RESOURCES <file> <name.extension> [<file> <name.extension> ...])
#
# Compiles the files into <target> as one resource bundle. The generated
# source defines the function (void, no arguments); calling it registers the
# bundle with kestrel::platform::ResourceBundle (once, however often it is
# called). Editing a file regenerates the source at the next build.
set(KESTREL_EMBED_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/EmbedResourceFile.cmake CACHE INTERNAL
    "Script mode helper of kestrel_embed_resources()")

function(kestrel_embed_resources target)
  cmake_parse_arguments(ARG "" "IDENTIFIER;FUNCTION" "RESOURCES" ${ARGN})
  set(entries_list "")
  set(inputs "")
  list(LENGTH ARG_RESOURCES count)
  math(EXPR last "${count} - 1")
  foreach(i RANGE 0 ${last} 2)
    math(EXPR j "${i} + 1")
    list(GET ARG_RESOURCES ${i} file)
    list(GET ARG_RESOURCES ${j} resource)
    get_filename_component(file ${file} ABSOLUTE)
    list(APPEND inputs ${file})
    list(APPEND entries_list "${file}|${resource}")
  endforeach()
  string(MAKE_C_IDENTIFIER ${ARG_IDENTIFIER} stem)
  set(output ${CMAKE_CURRENT_BINARY_DIR}/generated/${stem}_resources.cpp)
  string(REPLACE ";" "^" entries_arg "${entries_list}")
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DIDENTIFIER=${ARG_IDENTIFIER}
            -DFUNCTION=${ARG_FUNCTION} "-DENTRIES=${entries_arg}" -P ${KESTREL_EMBED_SCRIPT}
    DEPENDS ${inputs} ${KESTREL_EMBED_SCRIPT}
    COMMENT "Embedding resource bundle ${ARG_IDENTIFIER}"
    VERBATIM)
  target_sources(${target} PRIVATE ${output})
endfunction()
