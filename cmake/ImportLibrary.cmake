# qx_add_import_library(NAME DLL INTERFACE-HEADER PATTERN): for Windows, an import library of a DLL that is not built here, made from the
# functions that its C interface declares. PATTERN is a regular expression that a function's name matches.
function(qx_add_import_library name dll header pattern)
  find_program(QX_DLLTOOL i686-w64-mingw32-dlltool REQUIRED)
  file(READ ${header} text)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
  string(REGEX MATCHALL "QXD_CALL ${pattern}\\(" declarations "${text}")
  set(definition "LIBRARY ${dll}\nEXPORTS\n")
  foreach(declaration IN LISTS declarations)
    string(REGEX REPLACE "QXD_CALL (.*)\\(" "  \\1\n" function "${declaration}")
    string(APPEND definition "${function}")
  endforeach()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${dll}.def CONTENT "${definition}" @ONLY)
  set(library ${CMAKE_CURRENT_BINARY_DIR}/lib${name}.a)
  add_custom_command(OUTPUT ${library} COMMAND ${QX_DLLTOOL} -d ${CMAKE_CURRENT_BINARY_DIR}/${dll}.def -l ${library}
                     DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${dll}.def VERBATIM)
  add_custom_target(${name}_import DEPENDS ${library})
  add_library(${name} STATIC IMPORTED GLOBAL)
  set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${library})
  add_dependencies(${name} ${name}_import)
endfunction()

# qx_stdcall_import_library(TARGET DEFINITION): the import library with which hosts link TARGET, a DLL that exports decorated stdcall names.
# The linker's own one lists them with an underscore too many.
function(qx_stdcall_import_library target definition)
  find_program(QX_DLLTOOL i686-w64-mingw32-dlltool REQUIRED)
  file(READ ${definition} text)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${definition})
  string(REGEX REPLACE "  _[^ \n]+ = " "  " text "${text}")
  string(REGEX REPLACE "LIBRARY ([^\n]+)" "LIBRARY \\1.dll" text "${text}")
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}-import.def CONTENT "${text}")
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
                     COMMAND ${QX_DLLTOOL} -d ${CMAKE_CURRENT_BINARY_DIR}/${target}-import.def --add-stdcall-underscore
                             -l $<TARGET_LINKER_FILE:${target}>)
endfunction()
