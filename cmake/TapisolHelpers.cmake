# tapisol_add_test(NAME <name> SOURCES <files...> LIBS <targets...> LABEL <unit|db|gui|e2e>)
# One test executable per test class, labelled so that ctest -L can pick a layer.
function(tapisol_add_test)
    cmake_parse_arguments(T "" "NAME;LABEL" "SOURCES;LIBS" ${ARGN})
    add_executable(${T_NAME} ${T_SOURCES})
    target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} tapisol_test_support Qt6::Test tapisol_warnings)
    set_target_properties(${T_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
    set_tests_properties(${T_NAME} PROPERTIES LABELS "${T_LABEL}"
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TAPISOL_DATA_DIR=${TAPISOL_BUILD_DATA_DIR}" TIMEOUT 120)
endfunction()
