# What others read about the program: the desktop's menus, software centres, man. All of it is generated, as it holds
# the version, the maker or texts in all languages.
set(KORVALUNE_APPLICATION_ID example.korvalune.korvalune)
set(KORVALUNE_METAINFO ${KORVALUNE_APPLICATION_ID}.metainfo.xml)
set(KORVALUNE_DATA ${CMAKE_CURRENT_BINARY_DIR}/data)
list(LENGTH KORVALUNE_PO KORVALUNE_LANGUAGE_COUNT)

configure_file(data/Korvalune.1.in ${KORVALUNE_DATA}/Korvalune.1 @ONLY)

# As XML has it: a maker may be called anything.
foreach(value IN ITEMS NAME SITE)
  string(REPLACE "&" "&amp;" KORVALUNE_XML_${value} "${KORVALUNE_MAKER_${value}}")
  string(REPLACE "<" "&lt;" KORVALUNE_XML_${value} "${KORVALUNE_XML_${value}}")
endforeach()

set(KORVALUNE_TEMPLATES)
foreach(name IN ITEMS korvalune.desktop ${KORVALUNE_METAINFO})
  configure_file(data/${name}.in ${CMAKE_CURRENT_BINARY_DIR}/generated/${name}.in @ONLY)
  list(APPEND KORVALUNE_TEMPLATES ${CMAKE_CURRENT_BINARY_DIR}/generated/${name}.in)
endforeach()
set(KORVALUNE_TRANSLATED ${KORVALUNE_DATA}/korvalune.desktop ${KORVALUNE_DATA}/${KORVALUNE_METAINFO})
add_custom_command(
  OUTPUT ${KORVALUNE_TRANSLATED}
  COMMAND Python3::Interpreter -B ${CMAKE_CURRENT_SOURCE_DIR}/tools/desktop_texts.py --msgfmt ${MSGFMT} --po
          ${KORVALUNE_PO} --output ${KORVALUNE_DATA} -- ${KORVALUNE_TEMPLATES}
  DEPENDS ${KORVALUNE_PO} ${KORVALUNE_TEMPLATES} tools/desktop_texts.py tools/po_tables.py
  COMMENT "Translating the desktop entry and the metainfo"
  VERBATIM)
add_custom_target(desktop_files ALL DEPENDS ${KORVALUNE_TRANSLATED})

install(FILES ${KORVALUNE_DATA}/korvalune.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${KORVALUNE_DATA}/${KORVALUNE_METAINFO} DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${KORVALUNE_DATA}/Korvalune.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
