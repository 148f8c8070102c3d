# What every target of this project has in common.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(OpenSSL 3 REQUIRED)
find_package(CURL REQUIRED)
find_package(SQLite3 REQUIRED)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(RE2 REQUIRED IMPORTED_TARGET re2)

add_library(quorrel_options INTERFACE)
target_compile_features(quorrel_options INTERFACE cxx_std_20)
target_compile_options(quorrel_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# What nobody calls is left out of the linked libraries and programs.
target_compile_options(quorrel_options INTERFACE -ffunction-sections -fdata-sections)
if(QUORREL_WARNINGS_AS_ERRORS)
  target_compile_options(quorrel_options INTERFACE -Werror)
endif()
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # A source that another one includes looks like a header to this warning.
  target_compile_options(quorrel_options INTERFACE -Wno-subobject-linkage)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(quorrel_options INTERFACE -Wthread-safety)
endif()
if(QUORREL_SANITIZE)
  target_compile_options(quorrel_options INTERFACE -fsanitize=${QUORREL_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(quorrel_options INTERFACE -fsanitize=${QUORREL_SANITIZE})
  if(QUORREL_SANITIZE MATCHES thread)
    # Asio's fences are beyond the thread sanitizer.
    target_compile_definitions(quorrel_options INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
  if(QUORREL_SANITIZE MATCHES undefined)
    target_compile_options(quorrel_options INTERFACE -fno-sanitize-recover=all)
  endif()
endif()
target_include_directories(quorrel_options INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)

set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)

find_program(QUORREL_CCACHE ccache)
if(QUORREL_CCACHE)
  # Relative paths, so that two checkouts share what one has compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${QUORREL_CCACHE})
endif()

# The sources of one folder, compiled once for every library and test that uses them.
function(quorrel_folder name directory)
  file(GLOB sources CONFIGURE_DEPENDS ${directory}/*.cpp)
  add_library(${name} OBJECT ${sources})
  target_link_libraries(${name} PRIVATE quorrel_options ${ARGN})
endfunction()
