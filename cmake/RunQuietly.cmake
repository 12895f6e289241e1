# Runs a command whose chatter would hide the build's own lines; shows it only when it fails.
# Usage: cmake -P RunQuietly.cmake -- command argument...
set(command)
set(begun FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(index RANGE ${last})
    if(begun)
        list(APPEND command "${CMAKE_ARGV${index}}")
    elseif(CMAKE_ARGV${index} STREQUAL "--")
        set(begun TRUE)
    endif()
endforeach()

execute_process(COMMAND ${command}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message("${output}")
    message(FATAL_ERROR "${command} ended with ${result}")
endif()
