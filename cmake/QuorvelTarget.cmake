# Helpers shared by every folder of the build (and by the fuzzers' project).
include_guard(GLOBAL)
include(GNUInstallDirs)

# The repository root: every file is included relative to it
# ("sdk/json/json_node.h"), from the source tree and from an install tree.
get_filename_component(QUORVEL_ROOT "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)

# The one place that says which warnings the code is built with; linked
# privately, so that nothing is imposed on a project that uses the SDK.
if(NOT TARGET quorvel_warnings)
    add_library(quorvel_warnings INTERFACE)
    target_compile_options(quorvel_warnings INTERFACE -Wall -Wextra -Wpedantic)
endif()

# quorvel_add_layer(<name> SOURCES ... [DEPENDS ...])
# One library per layer folder: target quorvel_<name>, used as
# quorvel::<name> in the build and, when installed, by other projects.
# Static when the layer has sources to compile, an interface library when
# it is headers only. Headers form the target's header set, installed
# under include/ with their folders.
function(quorvel_add_layer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    set(headers ${ARG_SOURCES})
    list(FILTER headers INCLUDE REGEX "\\.h$")
    set(compiled ${ARG_SOURCES})
    list(FILTER compiled INCLUDE REGEX "\\.cpp$")
    set(target quorvel_${name})
    if(compiled)
        add_library(${target} STATIC ${compiled})
        set(scope PUBLIC)
        target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:quorvel_warnings>)
        set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    else()
        add_library(${target} INTERFACE)
        set(scope INTERFACE)
    endif()
    target_sources(${target} ${scope} FILE_SET HEADERS BASE_DIRS ${QUORVEL_ROOT} FILES ${headers})
    target_link_libraries(${target} ${scope} ${ARG_DEPENDS})
    target_compile_features(${target} ${scope} cxx_std_23)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
    add_library(quorvel::${name} ALIAS ${target})
endfunction()
