# Install step: QuillmarshPicker.mod made from the entry of every build
# installed in this module folder (QUILL_MODULE_ROOT), in release order.
file(GLOB entries ${QUILL_MODULE_ROOT}/QuillmarshPicker/builds/*.mod)
list(SORT entries)
set(mod "")
foreach(entry IN LISTS entries)
    file(READ ${entry} text)
    string(APPEND mod "${text}\n")
endforeach()
list(LENGTH entries count)
message(STATUS "Module file: ${QUILL_MODULE_ROOT}/QuillmarshPicker.mod (${count} builds)")
file(WRITE ${QUILL_MODULE_ROOT}/QuillmarshPicker.mod "${mod}")
