# Opus::opus: libopus, by its headers below opus/ and its library.
find_path(Opus_INCLUDE_DIR opus/opus.h)
find_library(Opus_LIBRARY opus)
mark_as_advanced(Opus_INCLUDE_DIR Opus_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Opus REQUIRED_VARS Opus_LIBRARY Opus_INCLUDE_DIR)

if(Opus_FOUND AND NOT TARGET Opus::opus)
  add_library(Opus::opus UNKNOWN IMPORTED GLOBAL)
  set_target_properties(Opus::opus PROPERTIES
    IMPORTED_LOCATION ${Opus_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${Opus_INCLUDE_DIR})
endif()
