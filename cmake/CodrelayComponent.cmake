# codrelay_component(NAME SOURCES file... [USES component-or-header...] [LINKS target...])
#
# Makes the OBJECT library codrelay_NAME from the folder in which it is called. Each component sees its own headers,
# the public headers, and those of the components that USES names, and nothing else: every component has an include
# root of its own that holds a link to its folder, so an include that points up the layers does not compile. An entry
# of USES with a slash names one single header of a component.
function(codrelay_component name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES;LINKS")
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  codrelay_link_into_root(${name} ${folder})

  add_library(codrelay_${name} OBJECT ${arg_SOURCES})
  target_compile_definitions(codrelay_${name} PRIVATE CODRELAY_BUILDING)
  target_include_directories(codrelay_${name}
    PRIVATE ${codrelay_headers} ${PROJECT_BINARY_DIR}/include-roots/${name})
  foreach(used IN LISTS arg_USES)
    if(used MATCHES "/")
      codrelay_link_into_root(${name}-uses ${used})
      set(used ${name}-uses)
    endif()
    target_include_directories(codrelay_${name} PRIVATE ${PROJECT_BINARY_DIR}/include-roots/${used})
  endforeach()
  target_link_libraries(codrelay_${name} PRIVATE FFmpeg::FFmpeg Boost::headers Threads::Threads ${arg_LINKS})
  set_property(GLOBAL APPEND PROPERTY CODRELAY_COMPONENTS codrelay_${name})
endfunction()

function(codrelay_link_into_root root path)
  set(link ${PROJECT_BINARY_DIR}/include-roots/${root}/${path})
  cmake_path(GET link PARENT_PATH parent)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${path} ${link} SYMBOLIC)
endfunction()

# Binds a shared library's exports to a version script, and relinks when the script changes.
function(codrelay_export_only target map)
  target_link_options(${target} PRIVATE LINKER:--version-script=${map})
  # In a fuzz build the sanitizer's calls stay open in the library: clang puts the runtime into the program.
  if(NOT CODRELAY_BUILD_FUZZERS)
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
