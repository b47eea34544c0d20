# codrelay/built_with.h: the record by which the public headers refuse a host that would lay objects out in another way.
# Of Boost the version counts and not the size of what is held: the nodes of a container may differ where its size does
# not. A record that does not tell the truth stops the library's own build.
set(boost_version ${Boost_VERSION_MAJOR}.${Boost_VERSION_MINOR})
set(boost_release ${boost_version}.${Boost_VERSION_PATCH})
math(EXPR boost_number "${Boost_VERSION_MAJOR} * 1000 + ${Boost_VERSION_MINOR}")

get_directory_property(options COMPILE_OPTIONS)
get_directory_property(definitions COMPILE_DEFINITIONS)
string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
set(debug_containers 0)
if("${CMAKE_CXX_FLAGS};${CMAKE_CXX_FLAGS_${type}};${options};${definitions}" MATCHES "_GLIBCXX_DEBUG([ ;=]|$)")
  set(debug_containers 1)
endif()

# All that a host compiles against: what stands in the tree, and the record.
set(codrelay_built_with ${PROJECT_BINARY_DIR}/include/codrelay/built_with.h)
set(codrelay_headers ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)
configure_file(${PROJECT_SOURCE_DIR}/cmake/built_with.h.in ${codrelay_built_with} @ONLY)
