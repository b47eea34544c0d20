# The components, linked twice: into the shipped shared library, and into an archive for the white-box tests.
get_property(components GLOBAL PROPERTY CODRELAY_COMPONENTS)
set(objects)
foreach(component IN LISTS components)
  list(APPEND objects $<TARGET_OBJECTS:${component}>)
endforeach()

add_library(codrelay SHARED ${objects})
add_library(Codrelay::codrelay ALIAS codrelay)
set_target_properties(codrelay PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(codrelay INTERFACE "$<BUILD_INTERFACE:${codrelay_headers}>")
target_link_libraries(codrelay PUBLIC UvqLog Boost::headers PRIVATE FFmpeg::FFmpeg Opus::opus Threads::Threads)
codrelay_export_only(codrelay ${PROJECT_SOURCE_DIR}/cmake/codrelay.map)

if(CODRELAY_BUILD_TESTS OR CODRELAY_BUILD_FUZZERS OR CODRELAY_BUILD_BENCHMARKS)
  add_library(codrelay_internal STATIC ${objects})
  target_include_directories(codrelay_internal INTERFACE ${codrelay_headers} ${PROJECT_SOURCE_DIR})
  target_link_libraries(codrelay_internal PUBLIC UvqLog FFmpeg::FFmpeg Opus::opus Boost::headers Threads::Threads)
endif()
