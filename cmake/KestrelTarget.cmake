# Shared settings for every Kestrel target.
function(kestrel_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  # clang (the fuzz build) spells the local-shadowing warning differently.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(${target} PRIVATE -Wshadow-uncaptured-local)
  else()
    target_compile_options(${target} PRIVATE -Wshadow=local)
  endif()
  if(KESTREL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# kestrel_add_library(<name> <alias> <folder> [DEPS ...])
# Every .cpp below <folder> is a source; headers sit beside them and are
# included as <folder>/<sub>/<Header>.h from the repository root.
function(kestrel_add_library name alias)
  cmake_parse_arguments(ARG "" "" "PUBLIC_DEPS;PRIVATE_DEPS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  add_library(${name} ${sources} ${headers})
  add_library(Kestrel::${alias} ALIAS ${name})
  set_target_properties(${name} PROPERTIES EXPORT_NAME ${alias} POSITION_INDEPENDENT_CODE ON)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${name} PUBLIC cxx_std_20)
  if(ARG_PUBLIC_DEPS)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_DEPS})
  endif()
  if(ARG_PRIVATE_DEPS)
    target_link_libraries(${name} PRIVATE ${ARG_PRIVATE_DEPS})
  endif()
  kestrel_set_warnings(${name})
endfunction()
