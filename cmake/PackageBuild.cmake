# How a language package builds the core (cmake -C cmake/PackageBuild.cmake): optimised, and only
# what a binding links (the library, the receipts layer, the emulated unit), without tests,
# tools or the C API; the package's own build then turns its binding on. Every package that
# starts from here compiles the core with the same flags, so a compiler cache serves one with
# the other's work.
set(CMAKE_BUILD_TYPE Release CACHE STRING "")
set(VANTO_BUILD_TESTS OFF CACHE BOOL "")
set(VANTO_BUILD_TOOLS OFF CACHE BOOL "")
set(VANTO_BUILD_C_API OFF CACHE BOOL "")
set(VANTO_BUILD_PYTHON OFF CACHE BOOL "")

# With ccache, object files are shared between builds whatever folder the checkout is in: paths
# below the checkout are hashed relative to it. Nothing depends on ccache being there.
find_program(VANTO_CCACHE ccache)
if(VANTO_CCACHE)
    get_filename_component(VANTO_PACKAGE_SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
    set(VANTO_PACKAGE_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${VANTO_PACKAGE_SOURCE_DIR} ${VANTO_CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER "${VANTO_PACKAGE_LAUNCHER}" CACHE STRING "")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${VANTO_PACKAGE_LAUNCHER}" CACHE STRING "")
endif()
