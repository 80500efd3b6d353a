// Writes the seed corpora of the fuzzing harnesses with the project's own
// writers, so the seeds are real files of every format version.
// usage: fuzz_make_seeds <corpus folder>   (then commit what changed)
#include "model/picker_stream.h"
#include "model/scene_data.h"

#include <QBuffer>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <cstdio>

namespace {

QDir root;

void save(const QString& harness, const QString& name, const QByteArray& bytes)
{
    root.mkpath(harness);
    QFile file(root.filePath(harness + "/" + name));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
        std::exit(1);
    }
}

buttonAttributes button(int x, int y, const QString& label, const QStringList& names, int kind = 0,
                        int language = 0)
{
    buttonAttributes a;
    a.pos = QPoint(x, y);
    a.size = a.width = 14;
    a.height = 10;
    a.kind = kind;
    a.language = language;
    a.color = 0xb22222;
    a.labelColor = 0xffffff;
    a.label = label;
    a.names = names;
    return a;
}

const QList<buttonAttributes>& buttons()
{
    static const QList<buttonAttributes> list{
        button(10, 20, "L", {"hero:L_hand_ctrl"}),
        button(40, 20, QString(), {"hero:R_hand_ctrl", "hero:R_arm_ctrl"}),
        button(25, 50, "key", {"select -all; setKeyframe;"}, 1, 0),
        button(60, 50, "py", {"print('hi')"}, 1, 1),
    };
    return list;
}

// Buttons of every shape, for the formats that carry them.
const QList<buttonAttributes>& shaped_buttons()
{
    static const QList<buttonAttributes> list = [] {
        QList<buttonAttributes> all = buttons();
        all[0].shape = qint32(button_shape::ellipse);
        all[1].shape = qint32(button_shape::polygon);
        all[1].points = {{-5, -5}, {5, -5}, {8, 4}, {0, 6}, {-8, 4}};
        all[3].shape = qint32(button_shape::rectangle);
        return all;
    }();
    return list;
}

// A record as a writer of an older format version laid it out.
void write_old_record(QDataStream& out, int version, qint32 index, const buttonAttributes& a)
{
    if (version >= 6) {
        write_button_record(out, index, a);
        return;
    }
    out << index << a.pos << a.size;
    if (version >= 5)
        out << a.width << a.height;
    if (version >= 2)
        out << a.kind << a.language;
    out << a.color;
    if (version >= 4)
        out << a.labelColor;
    out << a.label << qint32(a.names.size());
    for (const QString& name : a.names)
        out << name;
}

void write_old_list(QDataStream& out, int version, const QList<buttonAttributes>& list)
{
    out << qint32(list.size());
    for (int j = 0; j < list.size(); ++j)
        write_old_record(out, version, j, list[j]);
}

// A slider, a pad and a switch beside a selection button.
QList<buttonAttributes> attribute_buttons()
{
    QList<buttonAttributes> all = shaped_buttons();
    const char* const plugs[3][2] = {{"hero:face_ctrl.jaw", ""},
                                     {"hero:face_ctrl.L_eye_x", "hero:face_ctrl.L_eye_y"},
                                     {"hero:settings_ctrl.ikFk", ""}};
    for (int w = 0; w < attribute_widget_count; ++w) {
        buttonAttributes& a = all[w];
        a.kind = attribute_kind;
        a.language = 0;
        a.widget = w;
        a.names = QStringList{plugs[w][0]};
        if (w == qint32(attribute_widget::slider2d))
            a.names << plugs[w][1];
        a.minimum[0] = a.minimum[1] = -1;
        a.maximum[0] = a.maximum[1] = w == qint32(attribute_widget::checkbox) ? 2 : 1;
    }
    return all;
}

png_picture background()
{
    QImage image(24, 16, QImage::Format_RGB32);
    image.fill(0x304050);
    {
        QPainter painter(&image);
        painter.fillRect(4, 4, 8, 8, QColor(0xe0c080));
    }
    // Qt's own PNG, as a picture saved from a paint program would be.
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png_picture::decode(png);
}

// Buttons of every shape, two sharing one picture and one with another.
QList<buttonAttributes> pictured_buttons()
{
    QList<buttonAttributes> all = shaped_buttons();
    all[0].picture = all[1].picture = background();
    QImage icon(5, 3, QImage::Format_ARGB32);
    icon.fill(0x80ff8000);
    all[2].picture = png_picture::from_image(icon);
    return all;
}

QByteArray pkr(int version, bool with_background, const QList<buttonAttributes>& list)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(picker_format::pkr_stream_version);
    pkr_header header;
    header.version = version;
    header.name = "hero body";
    if (with_background) {
        header.backgroundKey = "1700000000";
        header.background = background();
    }
    write_pkr_header(out, header);
    write_old_list(out, version, list);
    return bytes;
}

// The window stream with two tabs, the second with a background when asked
// (from version 6 on named by its key alone).
QByteArray window_stream(int version, bool with_background)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << qint32(version) << qint32(2) << qint32(1);
    out << qint32(0) << QString("body");
    if (version >= 2)
        out << QString();
    const int records = picker_format::window_record_version(version);
    write_old_list(out, records, records >= 6 ? shaped_buttons() : buttons());
    out << qint32(1) << QString("face");
    if (version >= 2) {
        out << QString(with_background ? "1700000001" : "");
        if (with_background && version < 6)
            out << background();
    }
    write_old_list(out, records, (records >= 6 ? shaped_buttons() : buttons()).mid(0, 2));
    return bytes;
}

QByteArray payload(const QList<buttonAttributes>& list)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    writeButtonAttributes(out, list);
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_make_seeds <corpus folder>\n");
        return 2;
    }
    root = QDir(QString::fromLocal8Bit(argv[1]));

    for (int version : {1, 2, 4, 5, 6}) {
        const QList<buttonAttributes>& list = version >= 6 ? shaped_buttons() : buttons();
        save("fuzz_pkr", QString("v%1.pkr").arg(version), pkr(version, false, list));
        if (version >= 2)
            save("fuzz_pkr", QString("v%1_background.pkr").arg(version), pkr(version, true, list));
    }
    {
        // A record with a tagged field: what a later version may write.
        QByteArray tagged = pkr(6, false, shaped_buttons().mid(0, 1));
        tagged.chop(4);
        QDataStream out(&tagged, QIODevice::Append);
        out << quint32(1) << quint32(0x50494354) << quint32(4) << quint32(7);
        save("fuzz_pkr", "v6_tagged_field.pkr", tagged);
    }
    save("fuzz_pkr", "v6_button_pictures.pkr", pkr(6, true, pictured_buttons()));
    {
        // A picture field whose PNG lost a byte of its data.
        QByteArray cut = pkr(6, false, pictured_buttons().mid(2, 1));
        cut.remove(cut.indexOf("IDAT") + 8, 1);
        save("fuzz_pkr", "v6_damaged_picture.pkr", cut);
    }
    save("fuzz_pkr", "v6_attribute_buttons.pkr", pkr(6, false, attribute_buttons()));
    save("fuzz_pkr", "empty_list.pkr", pkr(5, false, {}));
    QList<buttonAttributes> damaged = buttons();
    damaged[1].kind = 2;
    damaged[2].names.clear();
    save("fuzz_pkr", "damaged_records.pkr", pkr(5, false, damaged));
    {
        QByteArray sided = pkr(5, false, buttons());
        QDataStream out(&sided, QIODevice::Append);
        write_side_patterns(out, {{"L_", "R_", "left", "right"}});
        save("fuzz_pkr", "side_patterns.pkr", sided);
    }

    save("fuzz_clipboard", "four_buttons", payload(shaped_buttons()));
    save("fuzz_clipboard", "one_button", payload(shaped_buttons().mid(1, 1)));
    save("fuzz_clipboard", "pictured_buttons", payload(pictured_buttons()));
    save("fuzz_clipboard", "attribute_buttons", payload(attribute_buttons()));
    {
        QByteArray old;
        QDataStream out(&old, QIODevice::WriteOnly);
        out << qint32(1);
        write_old_list(out, 5, buttons());
        save("fuzz_clipboard", "payload_version_1", old);
    }
    QByteArray wrong_version = payload(buttons());
    wrong_version[3] = 3;
    save("fuzz_clipboard", "payload_version_3", wrong_version);

    save("fuzz_scene_data", "window_v7.bin", window_stream(7, true));
    {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << qint32(7) << qint32(1) << qint32(0) << qint32(0) << QString("icons") << QString();
        write_button_list(out, pictured_buttons());
        save("fuzz_scene_data", "window_v7_pictures.bin", bytes);
        save("fuzz_scene_data", "scene_text_v7_pictures.txt", encode_picker_data(bytes));
    }
    {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << qint32(7) << qint32(1) << qint32(0) << qint32(0) << QString("face") << QString();
        write_button_list(out, attribute_buttons());
        save("fuzz_scene_data", "window_v7_attributes.bin", bytes);
    }
    save("fuzz_scene_data", "scene_text_v7.txt", encode_picker_data(window_stream(7, true)));
    for (int version : {1, 2, 4, 5, 6})
        save("fuzz_scene_data", QString("window_v%1.bin").arg(version), window_stream(version, version >= 2));
    save("fuzz_scene_data", "scene_text_v6.txt", encode_picker_data(window_stream(6, true)));
    {
        QByteArray sided = window_stream(6, true);
        QDataStream out(&sided, QIODevice::Append);
        write_side_patterns(out, {{"L_", "R_"}, {"lf_", "rt_", "_l", "_r"}});
        save("fuzz_scene_data", "window_v6_side_patterns.bin", sided);
    }
    save("fuzz_scene_data", "scene_text_v5.txt", encode_picker_data(window_stream(5, true)));
    save("fuzz_scene_data", "scene_text_v2.txt", encode_picker_data(window_stream(2, false)));
    save("fuzz_scene_data", "image_text.txt", encode_image(background()));

    // Directive lines: tab-separated, '@' sends the arguments as one string array.
    const QByteArray scene_text = encode_picker_data(window_stream(5, true));
    const QByteArray image_text = encode_image(background());
    save("fuzz_directives", "build.txt",
         "select\thero:arm\n"
         "enable_batch_mode\n"
         "add_button\t10\t20\tArm\n"
         "add_cmd_button\t30\t20\tkey\tmel\tprint \"hi\"\n"
         "color_button\tname\thero:arm\t255\t0\t0\n"
         "color_button_text\tlabel\tkey\t#00ff00\n"
         "rename_button\tname\thero:arm\tL arm\n"
         "move_button\tname\thero:arm\t40\t50\n"
         "resize_button\tlabel\tL arm\t30\t12\n"
         "disable_batch_mode\n"
         "get_button_properties\tname\thero:arm\n"
         "query_button\tpoint\t40\t50\n"
         "get_button_bounds\tlabel\tkey\n"
         "flush\n");
    save("fuzz_directives", "tabs.txt",
         "new_tab\nrename_tab\tface\nquery_tabs\nset_tab\tface\nset_background\tbg.png\n"
         "clear_background\nclose_tab\nclear_tabs\nnew_tab\n");
    save("fuzz_directives", "files.txt", "open\ta.pkr\tjunk.pkr\tmissing.pkr\nsave\nsaveas\nopen\n");
    save("fuzz_directives", "selection.txt",
         "@select\thero:arm\thero:leg\nadd_button\t10\t10\nselect\tbody\nclear\n"
         "select\thero:*\nupdate_namespace\tvillain\nget_namespaces\nbind\thero\t:\nrebind\tzombie\n");
    save("fuzz_directives", "restore.txt", "restore\t" + scene_text + "\nfetch_image\t1700000001\t" + image_text +
                                               "\nquery_tabs\nrestore\n");
    save("fuzz_directives", "properties.txt",
         "select\thero:leg\nadd_button\t5\t5\n"
         "@set_button_properties\tname\thero:leg\tLeg\t20\t30\t0\t0\t12\t12\t16\t#ff00ff\t#000000\n"
         "update_button\tname\thero:leg\tbody\ndelete_button\tname\tbody\nFoo\n");
    save("fuzz_directives", "shapes.txt",
         "select\thero:arm\nadd_button\t10\t20\tArm\n"
         "set_button_shape\tlabel\tArm\tellipse\n"
         "set_button_shape\tpoint\t10\t20\tpolygon\t0\t0\t30\t0\t15\t25\n"
         "get_button_properties\tlabel\tArm\nquery_buttons\n"
         "set_button_shape\tlabel\tArm\trounded\nset_button_shape\tlabel\tArm\tpolygon\t1\t2\n"
         "mirror_buttons\n");
    save("fuzz_directives", "pictures.txt",
         "select\thero:arm\nadd_button\t10\t20\tArm\n"
         "set_button_image\tlabel\tArm\tf_bg.png\n"
         "set_button_image\tpoint\t10\t20\tf_junk.pkr\n"
         "set_button_shape\tlabel\tArm\tellipse\n"
         "get_button_properties\tlabel\tArm\nquery_buttons\nmirror_buttons\n"
         "set_button_image\tlabel\tArm\t\nset_button_image\tlabel\tArm\n");
    save("fuzz_directives", "attributes.txt",
         "add_attribute_button\t10\t20\tjaw\tslider\thero:face_ctrl.jaw\n"
         "add_attribute_button\t40\t20\teye\tslider2d\thero:eye.x\t-1\t1\thero:eye.y\t0\t2\n"
         "add_attribute_button\t70\t20\tfk\tcheckbox\thero:arm.ikFk\n"
         "set_attribute_button\tlabel\tjaw\t0.5\nset_attribute_button\tpoint\t40\t20\t1\t2\n"
         "get_attribute_button\tlabel\teye\npress_button\tlabel\tfk\nattribute_changed\thero:face_ctrl.jaw\n"
         "query_buttons\nmirror_buttons\nupdate_namespace\tvillain\n");
    return 0;
}
