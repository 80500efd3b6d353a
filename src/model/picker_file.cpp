#include "model/picker_file.h"

#include "model/limits.h"

#include <QDataStream>

#include <algorithm>

namespace {

// Format versions a .pkr may claim. Newer ones are read with the current
// rules (whatever they add that this version cannot read, in a tagged
// field, refuses the file); a number beyond this is no picker at all (text,
// random bytes).
constexpr qint32 max_pkr_version = 255;

bool stream_ok(const QDataStream& in)
{
    return in.status() == QDataStream::Ok;
}

} // namespace

bool read_pkr(QIODevice& device, pkr_contents& out, QString* error)
{
    out = pkr_contents();
    const auto refuse = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    if (!device.isSequential()) {
        const qint64 size = device.size() - device.pos();
        if (size <= 0)
            return refuse(QStringLiteral("the file is empty"));
        if (size > limits::max_file_bytes)
            return refuse(QStringLiteral("the file is larger than %1 MB").arg(limits::max_file_bytes >> 20));
    }
    QDataStream in(&device);
    in.setVersion(picker_format::pkr_stream_version);
    pkr_header& header = out.header;
    in >> header.version;
    if (!stream_ok(in))
        return refuse(QStringLiteral("the file is too short to be a picker"));
    if (header.version < 1 || header.version > max_pkr_version)
        return refuse(QStringLiteral("the file is not a picker"));
    in >> header.name;
    if (header.version >= 2)
        in >> header.backgroundKey;
    if (!stream_ok(in))
        return refuse(QStringLiteral("the file is not a picker or its header is cut short"));

    if (header.version >= 2 && !header.backgroundKey.isEmpty()) {
        switch (read_picture(in, header.background)) {
        case picture_read::null_image:
        case picture_read::decoded:
            break;
        case picture_read::refused:
            out.image_refused = true;
            break;
        case picture_read::broken:
            // Nothing after an image without an end can be found again.
            out.image_refused = true;
            out.damaged = true;
            return true;
        }
    }

    qint32 budget = limits::max_buttons;
    qint64 names = limits::max_total_names;
    // The buttons' pictures share the budget with the background.
    picture_pool pictures;
    pictures.pixel_budget -= qint64(header.background.width()) * header.background.height();
    const button_list_read list = read_button_list(
        in, std::min(header.version, picker_format::current_version), budget,
        [&out](const buttonAttributes& a) { out.buttons.append(a); }, &names, &pictures);
    if (list.newer) {
        out = pkr_contents();
        return refuse(QStringLiteral("the file was written by a newer version of the picker"));
    }
    out.declared = list.declared;
    out.damaged = list.damaged;
    if (stream_ok(in)) {
        QList<QStringList> lists;
        const patterns_read got = read_side_patterns(in, lists, 1);
        header.mirrorPatterns = lists.value(0);
        out.damaged = out.damaged || got == patterns_read::damaged;
        out.patterns_damaged = got == patterns_read::damaged;
    }
    return true;
}

QByteArray write_pkr(const pkr_header& header, const QList<buttonAttributes>& buttons)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(picker_format::pkr_stream_version);
    pkr_header current = header;
    current.version = picker_format::current_version;
    write_pkr_header(out, current);
    write_button_list(out, buttons);
    if (!header.mirrorPatterns.isEmpty())
        write_side_patterns(out, {header.mirrorPatterns});
    return bytes;
}

bool read_window_stream(QDataStream& in, window_contents& out)
{
    out = window_contents();
    in >> out.version;
    if (!stream_ok(in))
        return false;
    if (out.version > picker_format::window_version) {
        out.too_new = true;
        return false;
    }
    if (out.version < 1) {
        out.unknown = true;
        return false;
    }
    in >> out.declared_tabs >> out.current;
    if (!stream_ok(in))
        return false;
    if (out.declared_tabs < 0 || out.declared_tabs > limits::max_tabs)
        out.damaged = true;

    // A tab holds what a picker may; the scene's total is shared by all
    // tabs, so many tabs cannot multiply it.
    qint32 scene_budget = limits::max_scene_buttons;
    qint64 names = limits::max_total_names;
    picture_pool button_pictures;
    qint64& pixel_budget = button_pictures.pixel_budget;
    QList<png_picture> pictures;
    const qint32 tabs = std::clamp(out.declared_tabs, 0, limits::max_tabs);
    for (qint32 i = 0; i < tabs; ++i) {
        window_tab tab;
        qint32 index = 0;
        in >> index >> tab.text;
        if (out.version >= 2)
            in >> tab.key;
        if (!stream_ok(in)) {
            out.damaged = true;
            break;
        }
        if (out.version >= 2 && out.version < 6 && !tab.key.isEmpty()) {
            const picture_read got = read_picture(in, tab.background, &pixel_budget, &pictures);
            if (got == picture_read::decoded && !pictures.contains(tab.background))
                pictures.append(tab.background);
            tab.image_refused = got == picture_read::refused || got == picture_read::broken;
            if (got == picture_read::broken) {
                out.damaged = true;
                out.tabs.append(tab);
                break;
            }
        }
        qint32 tab_budget = std::min(limits::max_buttons, scene_budget);
        const button_list_read list =
            read_button_list(in, picker_format::window_record_version(out.version), tab_budget,
                             [&tab](const buttonAttributes& a) { tab.buttons.append(a); }, &names,
                             &button_pictures);
        // What this version cannot read is left in the scene as it is.
        if (list.newer) {
            const qint32 version = out.version;
            out = window_contents();
            out.version = version;
            out.too_new = true;
            return false;
        }
        scene_budget -= list.accepted;
        tab.declared = list.declared;
        out.damaged = out.damaged || list.damaged;
        out.tabs.append(tab);
        if (!stream_ok(in))
            break;
    }
    if (stream_ok(in) && out.tabs.size() == tabs) {
        QList<QStringList> lists;
        const patterns_read got = read_side_patterns(in, lists, limits::max_tabs);
        for (int i = 0; i < lists.size() && i < out.tabs.size(); ++i)
            out.tabs[i].mirror_patterns = lists[i];
        out.patterns_damaged = got == patterns_read::damaged;
        out.damaged = out.damaged || out.patterns_damaged;
    }
    return true;
}
