// Picker JSON from a pipeline: whatever a hand or a script wrote is read,
// and what it describes is written as a picker file and read back.
#include "fuzz_support.h"

#include "model/picker_file.h"
#include "model/pkr_json.h"

#include <QBuffer>
#include <QDir>

// Qt's JSON parser leaks the earlier value of a key given twice in one
// object when that value is an array or object; named here so every other
// leak, ours or Qt's, is still found. Qt is built without frame pointers,
// so only the slow unwinder's stacks reach the parser's public entry.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:QJsonDocument::fromJson\n";
}
extern "C" const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::start_application();
    pkr_header header;
    QList<buttonAttributes> buttons;
    QString why;
    // Picture files are looked for in a folder that holds none.
    if (!pkr_json::from_json(fuzz::bytes(data, size), QDir::tempPath() + "/quillmarsh-fuzz-none", header, buttons,
                             &why))
        return 0;
    QBuffer file;
    file.setData(write_pkr(header, buttons));
    file.open(QIODevice::ReadOnly);
    pkr_contents back;
    if (!read_pkr(file, back, &why) || back.damaged || back.buttons.size() != buttons.size())
        __builtin_trap(); // what the JSON reader accepts, the file reader must read back whole
    fuzz::show_on_view(back.buttons);
    return 0;
}
