# How everything here is compiled and linked: language, warnings, visibility, hardening, sanitizers. One target, so that no
# file or folder has settings of its own.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

# All checkouts of the tree can share one compiler cache: it makes paths relative to the folder of the build.
find_program(RHO_CCACHE ccache DOC "Compiler cache; empty for none")
if(RHO_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${RHO_CCACHE})
endif()
file(RELATIVE_PATH to_root ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})

add_library(rho_options INTERFACE)
target_include_directories(rho_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(rho_options INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(rho_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  -fstack-protector-strong
  # Reports name files as they lie in this tree, wherever it was built.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
  -fmacro-prefix-map=${to_root}= -fmacro-prefix-map=../${to_root}= -fmacro-prefix-map=../../${to_root}=
  # Unique symbols would keep the module in memory after dlclose.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>
  $<$<AND:$<CONFIG:Release>,$<NOT:$<BOOL:${RHO_SANITIZE}>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Files may be dated later than 2038.
  target_compile_definitions(rho_options INTERFACE _TIME_BITS=64)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
  # float and double are computed in their own precision on every machine; the x87 unit keeps more digits.
  target_compile_options(rho_options INTERFACE -msse2 -mfpmath=sse)
endif()
target_link_options(rho_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
if(RHO_SANITIZE STREQUAL "thread")
  set(sanitizers thread)
elseif(RHO_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # The group "integer" also reports what is defined but seldom meant: unsigned wrap-around, and implicit conversions
  # that change a value.
  set(sanitizers address,undefined,integer,local-bounds,float-divide-by-zero)
  if(RHO_FUZZ)
    # Unsigned numbers wrap around on purpose in rhohost and in what is borrowed from others' headers.
    set(sanitizers address,undefined,implicit-conversion,float-cast-overflow,local-bounds,fuzzer-no-link)
  endif()
  set(sanitizer_exceptions -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-exceptions.txt)
elseif(RHO_SANITIZE)
  set(sanitizers address,undefined,bounds-strict,float-cast-overflow,float-divide-by-zero)
endif()
if(RHO_SANITIZE)
  target_compile_options(rho_options INTERFACE
    -fsanitize=${sanitizers} ${sanitizer_exceptions} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(rho_options INTERFACE -fsanitize=${sanitizers})
else()
  # An undefined symbol in a shared library is an error. Sanitizer runtimes leave theirs to the program.
  target_link_options(rho_options INTERFACE -Wl,-z,defs)
endif()
