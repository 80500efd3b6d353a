// Scene data as a scene file hands it back: the picker data text decoded and
// read as a window stream, each tab shown on a view; the same bytes tried as
// a stored background image, and read as a raw window stream (mutations
// rarely survive base64 and zlib, so the reader gets the bytes directly too).
#include "fuzz_support.h"

#include "model/picker_file.h"
#include "model/scene_data.h"

#include <QDataStream>

namespace {

void read_window(const QByteArray& stream)
{
    QDataStream in(stream);
    window_contents window;
    if (!read_window_stream(in, window))
        return;
    for (const window_tab& tab : window.tabs)
        fuzz::show_on_view(tab.buttons, tab.key, tab.background);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::start_application();
    const QByteArray input = fuzz::bytes(data, size);
    const QByteArray decoded = decode_picker_data(input);
    if (!decoded.isEmpty())
        read_window(decoded);
    const png_picture image = decode_image(input);
    if (!image.isNull())
        fuzz::show_on_view({}, "1", image);
    read_window(input);
    return 0;
}
