// Pasted bytes: whatever another process put under the picker's clipboard
// format is read as a button list payload and placed on a view.
#include "fuzz_support.h"

#include "model/picker_stream.h"

#include <QDataStream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::start_application();
    QDataStream in(fuzz::bytes(data, size));
    const QList<buttonAttributes> buttons = readButtonAttributes(in);
    fuzz::show_on_view(buttons.toVector());
    return 0;
}
