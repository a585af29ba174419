# Debian packages, one of each component; scripts/package makes them.
set(examples_dir ${CMAKE_INSTALL_DATADIR}/doc/libxrdimage-dev/examples)
set(frame_examples_dir ${CMAKE_INSTALL_DATADIR}/doc/libxrdframe-dev/examples)
set(maintainer "xrdimage developers <xrdimage@example.org>")
set(fft_package_fftw2 fftw-dev)
set(fft_package_fftw3 libfftw3-dev)

set(runtime_package libxrdimage${PROJECT_VERSION_MAJOR})
set(development_package libxrdimage-dev)
set(frame_runtime_package libxrdframe${PROJECT_VERSION_MAJOR})
set(frame_development_package libxrdframe-dev)
set(program_package xrdimage)

set(components runtime development)
if(XRDIMAGE_FRAME)
  list(APPEND components frame_runtime frame_development)
endif()
if(XRDIMAGE_PROGRAM)
  list(APPEND components program)
endif()

# Each package's own documents: the changelog and the licence, in Debian's forms.
set(debian ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(MAKE_DIRECTORY ${debian})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE
             ${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog)
execute_process(COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${maintainer}
                COMMAND gzip -9n
                OUTPUT_FILE ${debian}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
# The licence stands above the first rule, the notices below it.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE text)
string(REGEX REPLACE "\n\n-----+\n\n.*$" "" licence "${text}")
string(REGEX REPLACE "^.*\n(Permission .*)$" "\\1" licence "${licence}")
string(REGEX REPLACE "^.*\n\n-----+\n\n(.*)\n$" "\\1" notices "${text}")
foreach(part licence notices)
  string(REPLACE "\n" "\n " ${part} "${${part}}")
  string(REPLACE "\n \n" "\n .\n" ${part} "${${part}}")
endforeach()
configure_file(debian/copyright.in debian/copyright @ONLY)
foreach(component ${components})
  install(FILES ${debian}/changelog.Debian.gz ${debian}/copyright
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}_package} COMPONENT ${component})
endforeach()

# describe_symbols(LIBRARY PREFIX EXPORTS): what packages that link the library depend on: the release in which its functions
# got their version. Debian's files symbols and shlibs, in a folder of the library.
function(describe_symbols library prefix exports)
  set(runtime ${${prefix}runtime_package})
  set(symbols "${library}.so.${PROJECT_VERSION_MAJOR} ${runtime} #MINVER#\n")
  string(APPEND symbols "* Build-Depends-Package: ${${prefix}development_package}\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports})
  file(STRINGS ${exports} lines)
  foreach(line ${lines})
    if(line MATCHES "^([A-Z]+_([0-9.]+)) {$")
      set(version ${CMAKE_MATCH_1})
      set(release ${CMAKE_MATCH_2})
      string(APPEND symbols " ${version}@${version} ${release}\n")
    elseif(line MATCHES "^ +([A-Za-z_0-9]+);$")
      string(APPEND symbols " ${CMAKE_MATCH_1}@${version} ${release}\n")
    endif()
  endforeach()
  file(WRITE ${debian}/${library}/symbols "${symbols}")
  file(WRITE ${debian}/${library}/shlibs "${library} ${PROJECT_VERSION_MAJOR} ${runtime} (>= ${release})\n")
endfunction()
describe_symbols(libxrdimage "" ${PROJECT_SOURCE_DIR}/exports.map)
describe_symbols(libxrdframe frame_ ${PROJECT_SOURCE_DIR}/api/xrdframe.map)
file(WRITE ${debian}/triggers "activate-noawait ldconfig\n")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE xrdimage)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${maintainer})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has one of its own, the first line below
set(about "They come from image plates and CCD detectors, as mar345, MarCCD, ADSC-style,
EDF, SAINT, TIFF, CCP4-packed or raw files.")
set(about_library "xrdimage reads, packs, processes and writes two-dimensional detector images,
for programs that index, integrate or show them.
${about}")

# CPack of CMake 3.25 has no variable for Multi-Arch; the field follows that of the section.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "libs\nMulti-Arch: same")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS file) # which get_image_type runs
# The trigger runs ldconfig. Named here, though there are no such files, CPack's own scripts for it are left out.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${debian}/libxrdimage/symbols ${debian}/libxrdimage/shlibs ${debian}/triggers no/postinst no/postrm)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "library for X-ray diffraction detector images
${about_library}")

string(REGEX MATCH "^[0-9]+" compiler ${CMAKE_CXX_COMPILER_VERSION})
set(needed_by_static "libtiff-dev, ${fft_package_${XRDIMAGE_FFT}}, libstdc++-${compiler}-dev") # GCC's, which scripts/package uses
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel\nMulti-Arch: same")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), ${needed_by_static}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "library for X-ray diffraction detector images (development)
${about_library}
.
This package has the header, the static library, the files by which
pkg-config and CMake find them, and an example.")

set(about_frame_library "xrdframe reads, changes and writes two-dimensional detector images, as files
and as pictures, behind an interface for C and C++. It gives every pixel its
true count.
${about}")

set(CPACK_DEBIAN_FRAME_RUNTIME_PACKAGE_NAME ${frame_runtime_package})
set(CPACK_DEBIAN_FRAME_RUNTIME_PACKAGE_SECTION "libs\nMulti-Arch: same")
set(CPACK_DEBIAN_FRAME_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FRAME_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${debian}/libxrdframe/symbols ${debian}/libxrdframe/shlibs ${debian}/triggers no/postinst no/postrm)
set(CPACK_DEBIAN_FRAME_RUNTIME_DESCRIPTION "library for X-ray diffraction frames
${about_frame_library}")

set(frame_needed_by_static "libtiff-dev, libpng-dev, zlib1g-dev, libbz2-dev, libstdc++-${compiler}-dev")
set(CPACK_DEBIAN_FRAME_DEVELOPMENT_PACKAGE_NAME ${frame_development_package})
set(CPACK_DEBIAN_FRAME_DEVELOPMENT_PACKAGE_SECTION "libdevel\nMulti-Arch: same")
set(CPACK_DEBIAN_FRAME_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_FRAME_DEVELOPMENT_PACKAGE_DEPENDS
    "${frame_runtime_package} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), ${frame_needed_by_static}")
set(CPACK_DEBIAN_FRAME_DEVELOPMENT_DESCRIPTION "library for X-ray diffraction frames (development)
${about_frame_library}
.
This package has the headers, the static library, the files by which
pkg-config and CMake find them, and examples.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ${program_package})
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION "science\nMulti-Arch: foreign")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS file)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "xdg-utils | feh | imagemagick")
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "show and convert X-ray diffraction detector images
The program xrdimage tells what is in the headers of detector frames, shows
them on the screen or in the terminal, makes pictures with resolution rings,
converts whole data sets and compares frames. It gives every pixel its true
count, with the overflows of image plates merged in.
${about}")

include(CPack)
