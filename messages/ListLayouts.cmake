# Writes a source that lists the fields of every declared layout: their names from the headers,
# their places from the compiler.
#
#     cmake -DHEADERS=a.h,b.h -DROOT=folder -DOUTPUT=file.cpp -P ListLayouts.cmake
#
# A layout is a struct that is not nested in another, in no namespace or in one. Its fields are
# the aliases of `fields::` forms at the first level of the struct.

set(includes "")
set(rows "")
set(listed "")
set(end "")
string(REPLACE "," ";" headers "${HEADERS}")
foreach(header IN LISTS headers)
    file(READ "${ROOT}/${header}" text)
    string(REGEX MATCHALL
        "\nnamespace [A-Za-z0-9_]+|\n}  // namespace|\nstruct [A-Za-z0-9_]+|\nclass |\n    using [A-Za-z0-9_]+ =[ \n]+fields::"
        tokens "\n${text}")
    set(space "")
    set(layout "")
    set(found FALSE)
    foreach(token IN LISTS tokens)
        if(token MATCHES "// namespace")
            set(space "")
        elseif(token MATCHES "namespace ([A-Za-z0-9_]+)")
            set(space "${CMAKE_MATCH_1}::")
        elseif(token MATCHES "struct ([A-Za-z0-9_]+)")
            set(layout "${CMAKE_MATCH_1}")
            set(name "${space}${layout}")
        elseif(token MATCHES "class ")
            set(layout "")
        elseif(layout AND token MATCHES "using ([A-Za-z0-9_]+)")
            if(NOT name STREQUAL listed)
                string(APPEND rows
                    "${end}        makeDeclaredLayout<${name}>(\"${layout}\", {\n")
                set(end "        }),\n")
                set(listed "${name}")
            endif()
            string(APPEND rows
                "            makeDeclaredField<${name}, ${name}::${CMAKE_MATCH_1}>(\"${CMAKE_MATCH_1}\"),\n")
            set(found TRUE)
        endif()
    endforeach()
    if(found)
        string(APPEND includes "#include \"${header}\"\n")
    endif()
endforeach()

file(WRITE "${OUTPUT}"
    "${includes}#include \"messages/DeclaredLayouts.h\"\n\n"
    "// Written by messages/ListLayouts.cmake\n"
    "std::vector<DeclaredLayout> const& declaredLayouts() {\n"
    "    static std::vector<DeclaredLayout> const layouts{\n${rows}${end}    };\n"
    "    return layouts;\n}\n")
