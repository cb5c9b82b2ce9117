# Installs the build into a temporary prefix and checks what a desktop needs from it: the
# program, its data where the program looks for it, the menu entry and the scalable icon.
set(prefix "${BUILD_DIR}/install-test")
file(REMOVE_RECURSE "${prefix}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" RESULT_VARIABLE result
    OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "install failed: ${result}")
endif()
foreach(path bin/tapisol bin/defilor libexec/tapisol/tapisol-decoder share/metainfo/org.orvenne.Tapisol.metainfo.xml
        share/man/man1/tapisol.1 share/icons/hicolor/48x48/apps/tapisol.png share/icons/hicolor/512x512/apps/tapisol.png share/applications/tapisol.desktop share/icons/hicolor/scalable/apps/tapisol.svg
        share/tapisol/lang/FRA.lng share/tapisol/lang/ENG.lng share/tapisol/help/FRA/index.html
        share/tapisol/holidays.tsv)
    if(NOT EXISTS "${prefix}/${path}")
        message(FATAL_ERROR "missing after install: ${path}")
    endif()
endforeach()
execute_process(COMMAND desktop-file-validate "${prefix}/share/applications/tapisol.desktop"
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "desktop entry refused: ${output}")
endif()
# The installed program finds its language files beside it, not in the build tree.
execute_process(COMMAND env -u TAPISOL_DATA_DIR HOME=${prefix}/home XDG_CONFIG_HOME=${prefix}/config
    "${prefix}/bin/tapisol" --help OUTPUT_VARIABLE help RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT help MATCHES "envoie la commande N")
    message(FATAL_ERROR "installed program does not find its texts: ${help}")
endif()
file(REMOVE_RECURSE "${prefix}")
