# cmake --install: headers, both libraries, the command and its page, the CMake package and the pkg-config files, and the
# FFmpeg that the library was linked with in a folder of its own. Nothing that is installed holds a path of this machine:
# everything finds the rest relative to itself, so that the whole may be moved. The distribution's own FFmpeg stays where
# it is.
include(CMakePackageConfigHelpers)

if(ffmpeg_root)
  # Beside the library and not among the system's, so that an FFmpeg of another version does not get in the way.
  set(ffmpeg_libdir ${CMAKE_INSTALL_LIBDIR}/codrelay)
  # The headers of it that "codrelay/ffmpeg_vocabulary.h" needs.
  set(ffmpeg_includedir ${CMAKE_INSTALL_INCLUDEDIR}/codrelay/ffmpeg)
else()
  set(ffmpeg_libdir "")
  set(ffmpeg_includedir ${ffmpeg_includes})
endif()
set(cmake_packagedir ${CMAKE_INSTALL_LIBDIR}/cmake/Codrelay)

function(install_libraries)
  install(TARGETS codrelay UvqLog EXPORT CodrelayTargets INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(FILES ${codrelay_build_record} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/codrelay)
  set(places "$ORIGIN")
  if(ffmpeg_libdir)
    list(APPEND places "$ORIGIN/codrelay")
  endif()
  set_target_properties(codrelay PROPERTIES INSTALL_RPATH "${places}")
endfunction()

function(install_ffmpeg)
  set(libraries ${ffmpeg_libraries})
  while(libraries)
    list(POP_FRONT libraries name major)
    file(REAL_PATH ${ffmpeg_root}/lib/lib${name}.so file)
    install(FILES ${file} DESTINATION ${ffmpeg_libdir} RENAME lib${name}.so.${major})
  endwhile()
  foreach(name avcodec avutil)
    install(DIRECTORY ${ffmpeg_root}/include/lib${name} DESTINATION ${ffmpeg_includedir})
  endforeach()
endfunction()

function(install_command)
  file(RELATIVE_PATH libraries /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set(places "$ORIGIN/${libraries}")
  if(ffmpeg_libdir)
    list(APPEND places "$ORIGIN/${libraries}/codrelay")
  endif()
  set_target_properties(codrelay_cli PROPERTIES INSTALL_RPATH "${places}")
  install(TARGETS codrelay_cli)

  set(page ${PROJECT_BINARY_DIR}/man/codrelay.1)
  add_custom_command(OUTPUT ${page}
    COMMAND ${PROJECT_SOURCE_DIR}/cmake/make_man_page.sh $<TARGET_FILE:codrelay_cli> ${page}
    DEPENDS codrelay_cli ${PROJECT_SOURCE_DIR}/cmake/make_man_page.sh VERBATIM)
  add_custom_target(man_page ALL DEPENDS ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endfunction()

function(install_cmake_package)
  set(made ${PROJECT_BINARY_DIR}/package-files)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/CodrelayConfig.cmake.in ${made}/CodrelayConfig.cmake
    INSTALL_DESTINATION ${cmake_packagedir} PATH_VARS ffmpeg_includedir
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  write_basic_package_version_file(${made}/CodrelayConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${made}/CodrelayConfig.cmake ${made}/CodrelayConfigVersion.cmake DESTINATION ${cmake_packagedir})
  install(EXPORT CodrelayTargets NAMESPACE Codrelay:: DESTINATION ${cmake_packagedir})
endfunction()

function(install_pkg_config_files)
  set(pkg_configdir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  set(prefix_from_here /)
  cmake_path(RELATIVE_PATH prefix_from_here BASE_DIRECTORY /${pkg_configdir})
  # The distribution's stands where it does, wherever the prefix is moved.
  set(ffmpeg_includedir_from_prefix ${ffmpeg_includedir})
  if(NOT IS_ABSOLUTE "${ffmpeg_includedir}")
    string(PREPEND ffmpeg_includedir_from_prefix "\${prefix}/")
  endif()
  foreach(name codrelay uvqlog)
    set(made ${PROJECT_BINARY_DIR}/package-files/${name}.pc)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${made} @ONLY)
    install(FILES ${made} DESTINATION ${pkg_configdir})
  endforeach()
endfunction()

install_libraries()
if(CODRELAY_BUNDLE_FFMPEG AND ffmpeg_root)
  install_ffmpeg()
endif()
if(CODRELAY_BUILD_TOOLS)
  install_command()
endif()
install_cmake_package()
install_pkg_config_files()

set(docdir ${CMAKE_INSTALL_DATAROOTDIR}/doc/codrelay)
install(FILES ${PROJECT_SOURCE_DIR}/debian/copyright ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE
  DESTINATION ${docdir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${docdir} FILES_MATCHING PATTERN *.cpp)
