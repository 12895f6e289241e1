# Writes a source that lists the fields of every declared layout: their names from the headers,
# their places from the compiler.
#
#     cmake -DHEADERS=a.h,b.h -DROOT=folder -DOUTPUT=file.cpp -P ListLayouts.cmake
#
# A layout is a struct that is not nested in another, in no namespace or in one. Its fields are
# the aliases of `fields::` forms at the first level of the struct.

set(includes "")
set(rows "")
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
        elseif(token MATCHES "class ")
            set(layout "")
        elseif(layout AND token MATCHES "using ([A-Za-z0-9_]+)")
            set(name "${space}${layout}")
            string(APPEND rows
                "    declaredField<${name}, ${name}::${CMAKE_MATCH_1}>(\"${layout}\", \"${CMAKE_MATCH_1}\"),\n")
            set(found TRUE)
        endif()
    endforeach()
    if(found)
        string(APPEND includes "#include \"${header}\"\n")
    endif()
endforeach()

file(WRITE "${OUTPUT}"
    "${includes}#include \"tests/messages/WireDocument.h\"\n\n"
    "// Written by tests/messages/ListLayouts.cmake\n"
    "std::vector<DeclaredField> declaredFields() {\n    return {\n${rows}    };\n}\n")
