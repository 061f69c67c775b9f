# Finds OpenCV's core module, and any further module named as a component, without the modules beside it:
# Debian's small packages (libopencv-core-dev, ...) come without OpenCV's own package file.
# Gives OpenCV::core and OpenCV::<component>.
find_path(OpenCVCore_INCLUDE_DIR opencv2/core/mat.hpp PATH_SUFFIXES opencv4)
set(_required OpenCVCore_INCLUDE_DIR)
foreach(_module core ${OpenCVCore_FIND_COMPONENTS})
    find_library(OpenCVCore_${_module}_LIBRARY opencv_${_module})
    list(APPEND _required OpenCVCore_${_module}_LIBRARY)
    if(OpenCVCore_${_module}_LIBRARY)
        set(OpenCVCore_${_module}_FOUND TRUE)
    endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVCore REQUIRED_VARS ${_required} HANDLE_COMPONENTS)

if(OpenCVCore_FOUND)
    foreach(_module core ${OpenCVCore_FIND_COMPONENTS})
        if(NOT TARGET OpenCV::${_module})
            add_library(OpenCV::${_module} SHARED IMPORTED)
            set_target_properties(OpenCV::${_module} PROPERTIES
                IMPORTED_LOCATION ${OpenCVCore_${_module}_LIBRARY}
                INTERFACE_INCLUDE_DIRECTORIES ${OpenCVCore_INCLUDE_DIR})
        endif()
    endforeach()
endif()
