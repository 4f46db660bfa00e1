# Warnings are errors everywhere, and Qt's implicit conversions are off, so that
# text encodings and signal connections are always spelled out. The model's value types carry
# their defaults as member initializers, so a brace list that names only the first members is
# meant: -Wmissing-field-initializers would flag every one of them.
add_library(corvane_warnings INTERFACE)
target_compile_options(corvane_warnings INTERFACE -Wall -Wextra -Wpedantic -Werror
    -Wno-missing-field-initializers)
target_compile_definitions(corvane_warnings INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_FOREACH
    QT_NO_KEYWORDS
)

# Registers a QtTest executable as one ctest test. Widget tests run offscreen.
function(corvane_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE corvane_warnings Qt6::Test ${ARG_LIBS})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES ENVIRONMENT QT_QPA_PLATFORM=offscreen)
endfunction()
