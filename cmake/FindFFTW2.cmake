# FFTW 2 with its real-data transforms, in double precision: target FFTW2::rfftw.
find_path(FFTW2_INCLUDE_DIR rfftw.h)
find_library(FFTW2_RFFTW_LIBRARY rfftw)
find_library(FFTW2_FFTW_LIBRARY fftw)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(FFTW2 REQUIRED_VARS FFTW2_RFFTW_LIBRARY FFTW2_FFTW_LIBRARY FFTW2_INCLUDE_DIR)
mark_as_advanced(FFTW2_INCLUDE_DIR FFTW2_RFFTW_LIBRARY FFTW2_FFTW_LIBRARY)

if(FFTW2_FOUND AND NOT TARGET FFTW2::rfftw)
  add_library(FFTW2::rfftw UNKNOWN IMPORTED)
  set_target_properties(FFTW2::rfftw PROPERTIES
    IMPORTED_LOCATION ${FFTW2_RFFTW_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${FFTW2_INCLUDE_DIR}
    INTERFACE_LINK_LIBRARIES ${FFTW2_FFTW_LIBRARY})
endif()
