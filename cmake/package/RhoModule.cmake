# rho_add_module(NAME SOURCES...)
# Makes NAME.bundle/Contents/MACHINE/NAME.so in the build folder, a module that hosts can load: it exports the three entry
# points and nothing else, and is unloaded when a host lets go of it. Link further libraries to the target NAME.
function(rho_add_module name)
  set(folder ${CMAKE_CURRENT_FUNCTION_LIST_DIR})
  add_library(${name} MODULE ${ARGN})
  target_link_libraries(${name} PRIVATE Rho::plugin)
  # Unique symbols would keep the module in memory after dlclose.
  target_compile_options(${name} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
  target_link_options(${name} PRIVATE
    -Wl,--version-script=${folder}/module.exports -Wl,-Bsymbolic-functions -Wl,-z,defs -Wl,-z,relro,-z,now)
  set_target_properties(${name} PROPERTIES
    PREFIX ""
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${folder}/module.exports
    # The empty expression keeps generators of several configurations from adding a folder for each.
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${name}.bundle/Contents/${Rho_MACHINE}$<0:>)
endfunction()
