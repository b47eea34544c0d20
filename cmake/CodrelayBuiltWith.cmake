# codrelay/build_record.h: the record by which the public headers refuse a host that would lay objects out in another way.
# Of Boost the version counts and not the size of what is held: the nodes of a container may differ where its size does
# not. A record that does not tell the truth stops the library's own build.
set(boost_version ${Boost_VERSION_MAJOR}.${Boost_VERSION_MINOR})
set(boost_release ${boost_version}.${Boost_VERSION_PATCH})

# All that a host compiles against: what stands in the tree, and the record.
set(codrelay_build_record ${PROJECT_BINARY_DIR}/include/codrelay/build_record.h)
set(codrelay_headers ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)

function(codrelay_write_build_record)
  math(EXPR boost_number "${Boost_VERSION_MAJOR} * 1000 + ${Boost_VERSION_MINOR}")
  get_directory_property(options COMPILE_OPTIONS)
  get_directory_property(definitions COMPILE_DEFINITIONS)
  string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
  set(debug_containers 0)
  if("${CMAKE_CXX_FLAGS};${CMAKE_CXX_FLAGS_${type}};${options};${definitions}" MATCHES "_GLIBCXX_DEBUG([ ;=]|$)")
    set(debug_containers 1)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/build_record.h.in ${codrelay_build_record} @ONLY)
endfunction()

codrelay_write_build_record()
