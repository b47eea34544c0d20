# FFmpeg::FFmpeg: FFmpeg's shared libraries. FFMPEG_ROOT names an installation; without it CODRELAY_FFMPEG chooses: 4.3
# and 5.1 are what scripts/setup.sh builds, system is the distribution's own, found by pkg-config. Left empty, it becomes
# what the environment's CODRELAY_FFMPEG says, for good; without that it is 4.3, the reference.
#
# Sets ffmpeg_root (the folder; empty for the distribution's own) and ffmpeg_libraries (name, major version, ...).

# The generations that the library speaks to, by the major version of libavcodec.
set(ffmpeg_generation_58 avformat 58 avcodec 58 avfilter 7 avutil 56 swresample 3 swscale 5)
set(ffmpeg_generation_59 avformat 59 avcodec 59 avfilter 8 avutil 57 swresample 4 swscale 6)
set(ffmpeg_generation_61 avformat 61 avcodec 61 avfilter 10 avutil 59 swresample 5 swscale 8)

# A build folder keeps what it was configured with.
function(ffmpeg_take_choice_of_environment)
  set(wanted $ENV{CODRELAY_FFMPEG})
  if(wanted AND NOT CODRELAY_FFMPEG)
    set_property(CACHE CODRELAY_FFMPEG PROPERTY VALUE ${wanted})
  elseif(wanted AND NOT wanted STREQUAL CODRELAY_FFMPEG)
    message(FATAL_ERROR "This build folder was configured with CODRELAY_FFMPEG=${CODRELAY_FFMPEG}, and the environment "
      "says ${wanted}. Take another folder, or -DCODRELAY_FFMPEG=${wanted}")
  endif()
endfunction()

function(ffmpeg_locate result)
  if(FFMPEG_ROOT)
    set(${result} ${FFMPEG_ROOT} PARENT_SCOPE)
    return()
  endif()
  if(CODRELAY_FFMPEG STREQUAL system)
    set(${result} "" PARENT_SCOPE)
    return()
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E env CODRELAY_FFMPEG=${CODRELAY_FFMPEG}
      ${PROJECT_SOURCE_DIR}/scripts/build-ffmpeg.sh --where
    OUTPUT_VARIABLE where OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT EXISTS ${where}/.finished)
    message(FATAL_ERROR "FFmpeg has not been built yet. Run scripts/setup.sh, or name an installation by "
      "-DFFMPEG_ROOT=FOLDER, or the distribution's own by -DCODRELAY_FFMPEG=system")
  endif()
  set(${result} ${where} PARENT_SCOPE)
endfunction()

# The major version stands in version.h or, in later releases, in version_major.h.
function(ffmpeg_major_version includes library result)
  string(TOUPPER ${library} upper)
  set(lines)
  foreach(header version.h version_major.h)
    if(EXISTS ${includes}/lib${library}/${header})
      file(STRINGS ${includes}/lib${library}/${header} found REGEX "define +LIB${upper}_VERSION_MAJOR +[0-9]+")
      list(APPEND lines ${found})
    endif()
  endforeach()
  string(REGEX MATCH "[0-9]+" major "${lines}")
  set(${result} "${major}" PARENT_SCOPE)
endfunction()

function(ffmpeg_choose_generation includes where result)
  ffmpeg_major_version(${includes} avcodec major)
  if(NOT DEFINED ffmpeg_generation_${major})
    message(FATAL_ERROR "The FFmpeg at ${where} does not fit: libavcodec 58 (FFmpeg 4), 59 (5.1) or 61 (7) is needed, "
      "'${major}' was found")
  endif()
  if(major GREATER 58)
    file(STRINGS ${includes}/libavutil/channel_layout.h layouts REGEX "struct AVChannelLayout" LIMIT_COUNT 1)
    if(NOT layouts)
      message(FATAL_ERROR "The FFmpeg at ${where} does not fit: of its generation 5.1 or later is needed")
    endif()
  endif()
  set(${result} ${ffmpeg_generation_${major}} PARENT_SCOPE)
endfunction()

function(ffmpeg_check_versions includes where)
  set(problems)
  set(wanted ${ffmpeg_libraries})
  while(wanted)
    list(POP_FRONT wanted library major)
    ffmpeg_major_version(${includes} ${library} found)
    if(ffmpeg_root AND NOT EXISTS ${ffmpeg_root}/lib/lib${library}.so)
      list(APPEND problems "  lib${library}: ${ffmpeg_root}/lib/lib${library}.so is missing")
    elseif(NOT found STREQUAL major)
      list(APPEND problems "  lib${library}: major version ${major} is needed, '${found}' was found")
    endif()
  endwhile()
  if(problems)
    list(JOIN problems "\n" problems)
    message(FATAL_ERROR "The FFmpeg at ${where} does not fit:\n${problems}")
  endif()
endfunction()

# The libraries of one folder.
function(ffmpeg_import root)
  add_library(FFmpeg::FFmpeg INTERFACE IMPORTED GLOBAL)
  set(libraries ${ffmpeg_libraries})
  while(libraries)
    list(POP_FRONT libraries library major)
    add_library(FFmpeg::${library} SHARED IMPORTED GLOBAL)
    set_target_properties(FFmpeg::${library} PROPERTIES
      IMPORTED_LOCATION ${root}/lib/lib${library}.so
      INTERFACE_INCLUDE_DIRECTORIES ${root}/include)
    target_link_libraries(FFmpeg::FFmpeg INTERFACE FFmpeg::${library})
  endwhile()
endfunction()

if(NOT FFMPEG_ROOT)
  ffmpeg_take_choice_of_environment()
endif()
ffmpeg_locate(ffmpeg_root)
if(ffmpeg_root)
  set(ffmpeg_includes ${ffmpeg_root}/include)
  set(ffmpeg_where ${ffmpeg_root})
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET GLOBAL
    libavformat libavcodec libavfilter libavutil libswresample libswscale)
  set(ffmpeg_includes ${FFMPEG_libavcodec_INCLUDEDIR})
  set(ffmpeg_where ${ffmpeg_includes})
endif()
ffmpeg_choose_generation(${ffmpeg_includes} ${ffmpeg_where} ffmpeg_libraries)
ffmpeg_check_versions(${ffmpeg_includes} ${ffmpeg_where})
if(ffmpeg_root)
  ffmpeg_import(${ffmpeg_root})
else()
  add_library(FFmpeg::FFmpeg INTERFACE IMPORTED GLOBAL)
  target_link_libraries(FFmpeg::FFmpeg INTERFACE PkgConfig::FFMPEG)
endif()
message(STATUS "FFmpeg: ${ffmpeg_where}")
