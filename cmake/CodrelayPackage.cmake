# The Debian package, by `cpack`; the preset "package" builds it as Debian lays its packages out.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME codrelay)
set(CPACK_PACKAGE_VENDOR "The Codrelay developers")
set(CPACK_PACKAGE_CONTACT "The Codrelay developers <packages@codrelay.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(ffmpeg_of_package "")
if(ffmpeg_libdir)
  set(ffmpeg_of_package "the FFmpeg that they use, in a folder of its own, ")
endif()
set(CPACK_PACKAGE_DESCRIPTION "\
Video and audio codecs, resampling, picture transforms, muxers and demuxers for C++ hosts, on files and on memory, \
with a small logging library. Holds both shared libraries with all that is needed to compile against them, \
${ffmpeg_of_package}and the command codrelay.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/debian/copyright)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# What is loaded; the FFmpeg of the package itself is found in the folder of its own.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(ffmpeg_root)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${ffmpeg_root}/lib)
endif()
# Public headers include those of the Boost of the build, and of no other.
set(CPACK_DEBIAN_PACKAGE_DEPENDS libboost${boost_version}-dev)
if(NOT ffmpeg_root)
  # The headers for "codrelay/ffmpeg_vocabulary.h", and the decoders of AMR.
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libavcodec-dev")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS libavcodec-extra)
endif()
# What other packages may link, which the FFmpeg within is not, and the linker's cache.
set(control ${PROJECT_BINARY_DIR}/package-files)
file(CONFIGURE OUTPUT ${control}/shlibs CONTENT "\
libcodrelay @PROJECT_VERSION_MAJOR@ codrelay (>= @PROJECT_VERSION@)
libUvqLog @PROJECT_VERSION_MAJOR@ codrelay (>= @PROJECT_VERSION@)
" @ONLY)
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/triggers)
include(CPack)
