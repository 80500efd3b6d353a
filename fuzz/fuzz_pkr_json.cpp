// Picker JSON from a pipeline: whatever a hand or a script wrote is read,
// and what it describes is written as a picker file and read back.
#include "fuzz_support.h"

#include "model/picker_file.h"
#include "model/pkr_json.h"

#include <QBuffer>
#include <QDir>

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
