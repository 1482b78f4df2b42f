# qx_add_module(NAME SOURCES... [LINK targets...]): one folder of the library as a static library. The shared library and the tests
# link the same objects, so the tests reach what the shared library hides.
function(qx_add_module name)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC qx_options ${ARG_LINK})
endfunction()
