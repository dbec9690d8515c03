# quorvel_add_layer(<name> SOURCES ... [DEPENDS ...])
# One static library per layer folder, exported as quorvel::<name>. Sources are
# included relative to the repository root ("sdk/json/json_node.h").
function(quorvel_add_layer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    add_library(quorvel::${name} ALIAS ${name})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
    target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic)
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
endfunction()
