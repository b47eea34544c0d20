# Says which of the library's codecs this FFmpeg lacks, or serves by another. It is asked by a small program; where that
# cannot run, as in a cross build, nothing is said. Anew each time, since packages come and go.
function(codrelay_survey_codecs)
  if(CMAKE_CROSSCOMPILING)
    return()
  endif()
  unset(CODRELAY_SURVEY_RUNS CACHE)
  unset(CODRELAY_SURVEY_COMPILES CACHE)
  try_run(CODRELAY_SURVEY_RUNS CODRELAY_SURVEY_COMPILES
    SOURCES ${PROJECT_SOURCE_DIR}/cmake/codec_survey.cpp
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${PROJECT_SOURCE_DIR};${PROJECT_SOURCE_DIR}/include"
    LINK_LIBRARIES FFmpeg::FFmpeg
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON
    RUN_OUTPUT_VARIABLE survey)
  string(STRIP "${survey}" survey)
  if(CODRELAY_SURVEY_RUNS STREQUAL 0 AND survey)
    if(survey MATCHES "amr")
      string(APPEND survey " (Debian: libavcodec-extra)")
    endif()
    list(GET ffmpeg_libraries 3 generation)
    message(STATUS "FFmpeg, libavcodec ${generation}: ${survey}")
  endif()
endfunction()

codrelay_survey_codecs()
