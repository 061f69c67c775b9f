# nox_object_library(<folder> SOURCES ... LINK ...): the object library of one folder.
function(nox_object_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name} OBJECT ${arg_SOURCES})
    nox_configure_target(${name})
    target_link_libraries(${name} PUBLIC ${arg_LINK})
endfunction()

# What objects and shared libraries have in common: hidden symbols, public headers, the flags.
function(nox_configure_target name)
    set_target_properties(${name} PROPERTIES
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON)
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/Nox3D>)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:nox_flags>)
endfunction()

# nox_shared_library(<name> [SOURCES ...] [OBJECTS <object library> ...] LINK ...)
function(nox_shared_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;OBJECTS;LINK")
    add_library(${name} SHARED ${arg_SOURCES})
    foreach(object IN LISTS arg_OBJECTS)
        target_sources(${name} PRIVATE $<TARGET_OBJECTS:${object}>)
    endforeach()
    nox_configure_target(${name})
    set_target_properties(${name} PROPERTIES
        LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
    target_compile_features(${name} PUBLIC cxx_std_17)
    target_link_libraries(${name} ${arg_LINK})
    if(NOT NOX_SANITIZE)  # a sanitizer's own symbols come with the program
        set(exported ${PROJECT_SOURCE_DIR}/cmake/exported.map)
        target_link_options(${name} PRIVATE -Wl,--no-undefined -Wl,--version-script=${exported})
        set_target_properties(${name} PROPERTIES LINK_DEPENDS ${exported})
    endif()
    add_library(Nox3D::${name} ALIAS ${name})
    set_property(GLOBAL APPEND PROPERTY NOX_SHARED_LIBRARIES ${name})
endfunction()
