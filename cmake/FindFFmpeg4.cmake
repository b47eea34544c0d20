# FFmpeg::FFmpeg: the shared libraries of FFmpeg 4 below FFMPEG_ROOT, or of the build that scripts/setup.sh makes.

# The FFmpeg generation: library, major version.
set(ffmpeg_libraries avformat 58 avcodec 58 avfilter 7 avutil 56 swresample 3 swscale 5)

# Formats are found by long name; these are the names that the library's tables hold.
set(ffmpeg_long_names "FLV format" "MP4 (MPEG-4 Part 14)" "WebM file format" "3GP format" "3GP2 format"
    "AVI (Audio Video Interleaved)" "MPEG-2 transport stream format" "WAV format" "ASF format")

function(ffmpeg_locate result)
  if(FFMPEG_ROOT)
    set(${result} ${FFMPEG_ROOT} PARENT_SCOPE)
    return()
  endif()
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/build-ffmpeg.sh --where
    OUTPUT_VARIABLE where OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT EXISTS ${where}/.finished)
    message(FATAL_ERROR "FFmpeg 4 has not been built yet. Run scripts/setup.sh, or name an installation by -DFFMPEG_ROOT=FOLDER")
  endif()
  set(${result} ${where} PARENT_SCOPE)
endfunction()

# The major version stands in version.h or, in later releases, in version_major.h.
function(ffmpeg_major_version root library result)
  string(TOUPPER ${library} upper)
  set(lines)
  foreach(header version.h version_major.h)
    if(EXISTS ${root}/include/lib${library}/${header})
      file(STRINGS ${root}/include/lib${library}/${header} found REGEX "define +LIB${upper}_VERSION_MAJOR +[0-9]+")
      list(APPEND lines ${found})
    endif()
  endforeach()
  string(REGEX MATCH "[0-9]+" major "${lines}")
  set(${result} "${major}" PARENT_SCOPE)
endfunction()

function(ffmpeg_check_versions root)
  set(problems)
  set(wanted ${ffmpeg_libraries})
  while(wanted)
    list(POP_FRONT wanted library major)
    ffmpeg_major_version(${root} ${library} found)
    if(NOT EXISTS ${root}/lib/lib${library}.so)
      list(APPEND problems "  lib${library}: ${root}/lib/lib${library}.so is missing")
    elseif(NOT found STREQUAL major)
      list(APPEND problems "  lib${library}: major version ${major} is needed, '${found}' was found")
    endif()
  endwhile()
  if(problems)
    list(JOIN problems "\n" problems)
    message(FATAL_ERROR "The FFmpeg at ${root} does not fit:\n${problems}")
  endif()
endfunction()

function(ffmpeg_warn_of_missing_names root)
  foreach(name IN LISTS ffmpeg_long_names)
    string(REGEX REPLACE "([()])" "\\\\\\1" pattern ${name})
    # The linker may keep a name as the tail of a longer one, such as that of "PSP MP4 (MPEG-4 Part 14)".
    file(STRINGS ${root}/lib/libavformat.so found REGEX "${pattern}$" LIMIT_COUNT 1)
    if(NOT found)
      message(WARNING "The FFmpeg at ${root} has no format named \"${name}\"; the library will not find it")
    endif()
  endforeach()
endfunction()

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

ffmpeg_locate(ffmpeg_root)
ffmpeg_check_versions(${ffmpeg_root})
ffmpeg_warn_of_missing_names(${ffmpeg_root})
ffmpeg_import(${ffmpeg_root})
message(STATUS "FFmpeg: ${ffmpeg_root}")
