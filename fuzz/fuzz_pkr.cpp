// A .pkr file as the picker opens it, and what was read shown on a view.
#include "fuzz_support.h"

#include "model/picker_file.h"

#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::start_application();
    QByteArray input = fuzz::bytes(data, size);
    QBuffer file(&input);
    file.open(QIODevice::ReadOnly);
    pkr_contents contents;
    QString error;
    if (!read_pkr(file, contents, &error))
        return 0;
    fuzz::show_on_view(contents.buttons, contents.header.backgroundKey, contents.header.background);
    return 0;
}
