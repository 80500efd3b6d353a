// quillmarsh-pkr: picker files for pipelines. Converts .pkr files to a
// diff-friendly JSON and back, renders previews with the picker's own
// painting, reports what a file holds and what changed between two, rebinds
// namespaces and checks files for damage and against a scene. It never
// needs a display, reads and writes "-" as standard input and output, never
// writes over a file it did not make without --force, and never writes
// anything for a file it fails on.
#include "pkr_diff.h"
#include "pkr_io.h"
#include "pkr_scene_check.h"

#include "model/limits.h"
#include "model/namespaces.h"
#include "model/object_names.h"
#include "model/picker_file.h"
#include "model/pkr_json.h"
#include "view/overlays.h"
#include "view/picker_view.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

const char* const usage_text =
    "usage: quillmarsh-pkr COMMAND ...   (\"-\" is standard input or output)\n"
    "  to-json FILE.pkr... [-o FILE.json] [--embed] [--force]\n"
    "      the picker as JSON, beside the file; its picture goes to a PNG beside\n"
    "      the JSON (FILE.png), or into the JSON as base64 with --embed or -o -\n"
    "  from-json FILE.json [-o FILE.pkr] [--allow-outside-paths] [--force]\n"
    "      the picker file the JSON describes; a picture file it names is read\n"
    "      only from the JSON's folder or below, unless --allow-outside-paths\n"
    "  preview FILE.pkr -o FILE.png [--size WIDTHxHEIGHT] [--force]\n"
    "      the picker as the picker window paints it, framed (default 800x800)\n"
    "  info FILE.pkr... [--json]\n"
    "      name, picture, buttons and namespaces\n"
    "  diff A B\n"
    "      what changed from picker A to picker B (.pkr or JSON); exit status 0\n"
    "      when they are the same, 1 when they differ, 2 on errors\n"
    "  rebind FILE.pkr OLD=NEW... [-o OUT.pkr] [--force]\n"
    "      object names and scripts moved from namespace OLD (one the picker\n"
    "      uses) to NEW (\":\" or an empty side is the root); without -o it\n"
    "      writes over FILE.pkr, which takes --force\n"
    "  check FILE.pkr... [--scene SCENE.ma [--namespace NS]]\n"
    "      reports damage, and with --scene every object the scene lacks (the\n"
    "      picker's main namespace read as NS); exit status 0 when all is\n"
    "      well, 1 when a file is damaged or an object missing, 2 on errors\n"
    "Files written over need --force. Exit status: 0 done, 1 failed (nothing\n"
    "written for the file that failed), 2 wrong arguments.\n";

enum exit_code { done = 0, failed = 1, bad_usage = 2 };

int usage(const QString& why)
{
    std::fprintf(stderr, "quillmarsh-pkr: %s\n%s", qPrintable(why), usage_text);
    return bad_usage;
}

int error(const QString& why, int status = failed)
{
    std::fprintf(stderr, "quillmarsh-pkr: %s\n", qPrintable(why));
    return status;
}

void say(const QString& text)
{
    const QByteArray line = (text + "\n").toUtf8();
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
}

// The command line after the command: plain arguments and options.
struct arguments {
    QStringList plain;
    QString output, size, scene, name_space;
    bool has_output = false;
    bool embed = false, outside = false, force = false, json = false;
    QString problem;
};

arguments parse(const QStringList& args, const QSet<QString>& allowed)
{
    arguments a;
    const QSet<QString> with_value{"-o", "--size", "--scene", "--namespace"};
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (!allowed.contains(arg) && arg.startsWith("-") && arg.size() > 1) {
            a.problem = arg + " is not an option here";
            return a;
        }
        if (with_value.contains(arg)) {
            if (i + 1 >= args.size()) {
                a.problem = arg + " needs a value";
                return a;
            }
            const QString value = args[++i];
            a.has_output = a.has_output || arg == "-o";
            (arg == "--size" ? a.size : arg == "--scene" ? a.scene : arg == "--namespace" ? a.name_space : a.output) =
                value;
        } else if (arg == "--embed") {
            a.embed = true;
        } else if (arg == "--allow-outside-paths") {
            a.outside = true;
        } else if (arg == "--force") {
            a.force = true;
        } else if (arg == "--json") {
            a.json = true;
        } else {
            a.plain << arg;
        }
    }
    if (a.plain.count("-") > 1)
        a.problem = "standard input (\"-\") can be read only once";
    return a;
}

QString shown(const QString& path)
{
    return pkr_io::is_std(path) ? QString("standard input") : QString("\"%1\"").arg(path);
}

// A picker file (or standard input), whole or damaged; false when it is not
// one at all.
// A picker file's bytes, read as one.
bool read_pkr_bytes(QByteArray& bytes, const QString& path, pkr_contents& contents, QString* why)
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QString reason;
    if (!read_pkr(buffer, contents, &reason)) {
        *why = QString("%1 is not a picker file: %2").arg(shown(path), reason);
        return false;
    }
    return true;
}

bool read_any(const QString& path, pkr_contents& contents, QString* why)
{
    QByteArray bytes;
    return pkr_io::read_input(path, limits::max_file_bytes, &bytes, why) && read_pkr_bytes(bytes, path, contents, why);
}

QString damage(const pkr_contents& contents)
{
    return QString("%1 of %2 buttons read%3")
        .arg(contents.buttons.size())
        .arg(contents.declared)
        .arg(contents.image_refused ? ", picture refused" : "");
}

// A whole, undamaged picker file, or false with the reason.
bool read_whole(const QString& path, pkr_contents& contents, QString* why)
{
    if (!read_any(path, contents, why))
        return false;
    if (contents.damaged || contents.image_refused) {
        *why = QString("%1 is damaged: %2").arg(shown(path), damage(contents));
        return false;
    }
    return true;
}

// The folder a JSON's picture file is named from: the JSON's, or the
// current one for standard input.
QString json_folder(const QString& path)
{
    return pkr_io::is_std(path) ? QDir::currentPath() : QFileInfo(path).path();
}

// A picker from JSON text.
bool from_json_text(const QByteArray& json, const QString& path, bool outside, pkr_contents& contents, QString* why)
{
    QList<buttonAttributes> buttons;
    const auto pictures = outside ? pkr_json::picture_files::anywhere : pkr_json::picture_files::inside_base_dir;
    QString reason;
    if (!pkr_json::from_json(json, json_folder(path), contents.header, buttons, &reason, pictures)) {
        *why = QString("%1: %2").arg(shown(path), reason);
        return false;
    }
    contents.buttons = QVector<buttonAttributes>(buttons.begin(), buttons.end());
    contents.declared = buttons.size();
    return true;
}

QByteArray picker_bytes(const pkr_contents& contents)
{
    return write_pkr(contents.header, QList<buttonAttributes>(contents.buttons.begin(), contents.buttons.end()));
}

// Writes each (path, bytes) pair, after checking none would write over a file.
bool write_all(const QList<QPair<QString, QByteArray>>& files, bool force, QString* why)
{
    QStringList paths;
    for (const auto& file : files)
        paths << file.first;
    if (!pkr_io::may_write(paths, force, why))
        return false;
    for (const auto& file : files)
        if (!pkr_io::write_output(file.first, file.second, why))
            return false;
    return true;
}

int to_json(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--embed", "--force"});
    if (!a.problem.isEmpty() || a.plain.isEmpty())
        return usage(a.problem.isEmpty() ? "to-json takes picker files" : a.problem);
    if (a.plain.size() > 1 && (a.has_output || a.plain.contains("-")))
        return usage("-o and \"-\" take one picker file; several are each written beside their file");
    int status = done;
    for (const QString& path : a.plain) {
        pkr_contents contents;
        QString why;
        if (!read_whole(path, contents, &why)) {
            status = error(why);
            continue;
        }
        const QFileInfo in(path);
        QString json_path = a.output;
        if (!a.has_output)
            json_path = pkr_io::is_std(path) ? QString("-") : in.path() + "/" + in.completeBaseName() + ".json";
        const QByteArray png = pkr_json::picture_png(contents.header);
        // Standard output is one stream: the picture goes into the JSON.
        const bool beside = !png.isEmpty() && !a.embed && !pkr_io::is_std(json_path);
        const QFileInfo out(json_path);
        const QString image_name = beside ? out.completeBaseName() + ".png" : QString();
        QList<QPair<QString, QByteArray>> files;
        if (beside)
            files.append({out.dir().filePath(image_name), png});
        files.append({json_path, pkr_json::to_json(contents, image_name)});
        if (!write_all(files, a.force, &why))
            status = error(why);
    }
    return status;
}

int from_json(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--allow-outside-paths", "--force"});
    if (!a.problem.isEmpty() || a.plain.size() != 1)
        return usage(a.problem.isEmpty() ? "from-json takes one JSON file" : a.problem);
    const QString path = a.plain[0];
    QByteArray json;
    QString why;
    if (!pkr_io::read_input(path, 2 * limits::max_file_bytes, &json, &why))
        return error(why);
    pkr_contents contents;
    if (!from_json_text(json, path, a.outside, contents, &why))
        return error(why);
    json = QByteArray();
    const QFileInfo in(path);
    QString out = a.output;
    if (!a.has_output)
        out = pkr_io::is_std(path) ? QString("-") : in.path() + "/" + in.completeBaseName() + ".pkr";
    const QByteArray bytes = picker_bytes(contents);
    // A file the picker would refuse to open is not written.
    if (bytes.size() > limits::max_file_bytes)
        return error(QString("%1: the picker would be %2 MB; a picker file holds at most %3 MB")
                         .arg(shown(path)).arg(bytes.size() >> 20).arg(limits::max_file_bytes >> 20));
    if (!write_all({{out, bytes}}, a.force, &why))
        return error(why);
    return done;
}

int preview(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--size", "--force"});
    if (!a.problem.isEmpty() || a.plain.size() != 1 || !a.has_output)
        return usage(a.problem.isEmpty() ? "preview takes one picker file and -o FILE.png" : a.problem);
    QSize size(800, 800);
    if (!a.size.isEmpty()) {
        const QStringList parts = a.size.split('x');
        bool w_ok = false, h_ok = false;
        if (parts.size() == 2)
            size = QSize(parts[0].toInt(&w_ok), parts[1].toInt(&h_ok));
        if (!w_ok || !h_ok || size.width() < 16 || size.height() < 16 || size.width() > 8192 || size.height() > 8192)
            return usage(QString("--size must be WIDTHxHEIGHT, 16 to 8192 pixels each, not \"%1\"").arg(a.size));
    }
    QString why;
    if (!pkr_io::may_write({a.output}, a.force, &why))
        return error(why);
    pkr_contents contents;
    if (!read_whole(a.plain[0], contents, &why))
        return error(why);
    picker_view view(nullptr);
    view.setAttribute(Qt::WA_DontShowOnScreen);
    view.resize(size);
    view.show();
    if (!contents.header.backgroundKey.isEmpty())
        view.setBackground(contents.header.backgroundKey, contents.header.background);
    for (const buttonAttributes& b : std::as_const(contents.buttons))
        view.push_button(b, -1);
    // Framed at once (the window animates it), with a small margin; no banner.
    QRect bounds = view.button_bounds(false);
    if (!view.background().isNull())
        bounds = contents.buttons.isEmpty() ? view.background().rect() : (bounds | view.background().rect());
    if (!bounds.isEmpty()) {
        view.zoom = 0.95 * std::min(double(size.width()) / bounds.width(), double(size.height()) / bounds.height());
        const QPointF centre = QRectF(bounds).center() * view.zoom;
        view.setShift(QPoint(qRound(size.width() / 2.0 - centre.x()), qRound(size.height() / 2.0 - centre.y())));
    }
    view.overlays.banner()->image = QImage();
    const QImage image = view.grab().toImage();
    QByteArray png;
    {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
    }
    if (!write_all({{a.output, png}}, a.force, &why))
        return error(why);
    return done;
}

QStringList namespaces_of(const QVector<buttonAttributes>& buttons)
{
    QStringList found;
    for (const buttonAttributes& b : buttons)
        if (names_scene_objects(b.kind))
            for (const QString& name : b.names)
                extract_namespace(found, name);
    std::sort(found.begin(), found.end(), compare_name);
    return found;
}

QJsonObject info_json(const QString& path, const pkr_contents& contents, int commands, int attributes)
{
    const pkr_header& h = contents.header;
    QJsonObject background;
    background.insert("key", h.backgroundKey.isEmpty() ? QJsonValue() : QJsonValue(h.backgroundKey));
    if (!h.background.isNull()) {
        background.insert("width", h.background.width());
        background.insert("height", h.background.height());
    }
    QJsonObject o;
    o.insert("file", path);
    o.insert("name", h.name.isNull() ? QJsonValue() : QJsonValue(h.name));
    o.insert("fileVersion", h.version);
    o.insert("background", background);
    o.insert("buttons", contents.buttons.size());
    o.insert("selectionButtons", contents.buttons.size() - commands - attributes);
    o.insert("commandButtons", commands);
    o.insert("attributeButtons", attributes);
    o.insert("namespaces", QJsonArray::fromStringList(namespaces_of(contents.buttons)));
    o.insert("damaged", contents.damaged || contents.image_refused);
    o.insert("declaredButtons", contents.declared);
    o.insert("pictureRefused", contents.image_refused);
    return o;
}

int info(const QStringList& args)
{
    const arguments a = parse(args, {"--json"});
    if (!a.problem.isEmpty() || a.plain.isEmpty())
        return usage(a.problem.isEmpty() ? "info takes picker files" : a.problem);
    int status = done;
    QJsonArray all;
    for (const QString& path : a.plain) {
        pkr_contents contents;
        QString why;
        if (!read_any(path, contents, &why)) {
            status = error(why);
            continue;
        }
        int commands = 0, attributes = 0;
        for (const buttonAttributes& b : std::as_const(contents.buttons)) {
            commands += b.kind == command_kind;
            attributes += b.kind == attribute_kind;
        }
        if (a.json) {
            all.append(info_json(path, contents, commands, attributes));
            continue;
        }
        const pkr_header& h = contents.header;
        if (path != a.plain.first())
            say(QString());
        say(QString("file: %1").arg(path));
        say(QString("name: %1").arg(h.name));
        say(QString("format version: %1").arg(h.version));
        say(h.background.isNull() ? QString("picture: none")
                                  : QString("picture: %1 x %2").arg(h.background.width()).arg(h.background.height()));
        say(QString("buttons: %1 (%2 selection, %3 command, %4 attribute)")
                .arg(contents.buttons.size())
                .arg(contents.buttons.size() - commands - attributes)
                .arg(commands)
                .arg(attributes));
        say(QString("namespaces: %1").arg(namespaces_of(contents.buttons).join(' ')));
        if (contents.damaged || contents.image_refused)
            say("damaged: " + damage(contents));
    }
    if (a.json) {
        const QByteArray text = QJsonDocument(all).toJson(QJsonDocument::Indented);
        std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    }
    return status;
}

// Every namespace the picker's names and scripts use, each with its
// parents, and "" when some name is in the root.
QSet<QString> used_namespaces(const QVector<buttonAttributes>& buttons)
{
    QStringList found;
    bool root = false;
    for (const buttonAttributes& b : buttons) {
        if (names_scene_objects(b.kind)) {
            for (const QString& name : b.names) {
                extract_namespace(found, name);
                const QString node = name.left(node_end(name)).section('|', -1);
                root = root || (!node.isEmpty() && !QStringView(node).mid(1).contains(':'));
            }
            continue;
        }
        map_script_names(b.names.join('\n'), b.language, [&](const QString& word) {
            const QString node = word.left(node_end(word));
            if (node.contains(':'))
                extract_namespace(found, node);
            root = root || (node.startsWith(':') && node.count(':') == 1);
            return word;
        });
    }
    QSet<QString> used(found.begin(), found.end());
    if (root)
        used.insert(QString());
    return used;
}

int rebind(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--force"});
    if (!a.problem.isEmpty() || a.plain.size() < 2)
        return usage(a.problem.isEmpty() ? "rebind takes a picker file and OLD=NEW pairs" : a.problem);
    QStringList from, to, olds;
    for (int i = 1; i < a.plain.size(); ++i) {
        const QStringList pair = a.plain[i].split('=');
        if (pair.size() != 2 || !is_valid_namespace(pair[0]) || !is_valid_namespace(pair[1]))
            return usage(QString("\"%1\" is not OLD=NEW with two namespaces").arg(a.plain[i]));
        add_namespace_pair(from, to, pair[0], pair[1]);
        olds << pair[0];
    }
    const QString path = a.plain[0];
    QString out = a.output;
    if (!a.has_output)
        out = path;
    // Over the file it read: only when asked to.
    QString why;
    if (!pkr_io::may_write({out}, a.force, &why))
        return error(pkr_io::is_std(out) ? why : why + " (or give -o)");
    pkr_contents contents;
    if (!read_whole(path, contents, &why))
        return error(why);
    // A namespace the picker does not use is a typo, not a rebind.
    const QSet<QString> used = used_namespaces(contents.buttons);
    for (const QString& old : std::as_const(olds)) {
        if (used.contains(bare_namespace(old)))
            continue;
        QStringList names = namespaces_of(contents.buttons);
        return error(QString("%1 does not use the namespace \"%2\" (its namespaces: %3)")
                         .arg(shown(path), old, names.isEmpty() ? QString("none") : names.join(' ')));
    }
    rebind_buttons(contents.buttons, from, to);
    if (!write_all({{out, picker_bytes(contents)}}, true, &why))
        return error(why);
    return done;
}

// Either form of a picker: JSON text starts with '{', a .pkr never does.
bool read_either(const QString& path, pkr_contents& contents, QString* why)
{
    QByteArray bytes;
    if (!pkr_io::read_input(path, 2 * limits::max_file_bytes, &bytes, why))
        return false;
    if (bytes.trimmed().startsWith('{'))
        return from_json_text(bytes, path, false, contents, why);
    if (bytes.size() > limits::max_file_bytes) {
        *why = QString("%1 is larger than a picker file").arg(shown(path));
        return false;
    }
    if (!read_pkr_bytes(bytes, path, contents, why))
        return false;
    if (contents.damaged || contents.image_refused) {
        *why = QString("%1 is damaged: %2").arg(shown(path), damage(contents));
        return false;
    }
    return true;
}

int diff(const QStringList& args)
{
    const arguments a = parse(args, {});
    if (!a.problem.isEmpty() || a.plain.size() != 2)
        return usage(a.problem.isEmpty() ? "diff takes two pickers" : a.problem);
    pkr_contents left, right;
    QString why;
    if (!read_either(a.plain[0], left, &why) || !read_either(a.plain[1], right, &why))
        return error(why, bad_usage);
    const QStringList lines = diff_pickers(left, right);
    for (const QString& line : lines)
        say(line);
    return lines.isEmpty() ? done : failed;
}

int check(const QStringList& args)
{
    const arguments a = parse(args, {"--scene", "--namespace"});
    if (!a.problem.isEmpty() || a.plain.isEmpty())
        return usage(a.problem.isEmpty() ? "check takes picker files" : a.problem);
    if (!a.name_space.isEmpty() && a.scene.isEmpty())
        return usage("--namespace needs --scene");
    if (!a.name_space.isEmpty() && !is_valid_namespace(a.name_space))
        return usage(QString("\"%1\" is not a namespace").arg(a.name_space));
    QString why;
    if (!a.scene.isEmpty() && !open_scene_for_check(a.scene, &why))
        return error(why, bad_usage);
    int status = done;
    for (const QString& path : a.plain) {
        pkr_contents contents;
        if (!read_any(path, contents, &why)) {
            error(why);
            status = bad_usage;
            continue;
        }
        bool clean = true;
        if (contents.damaged || contents.image_refused) {
            say(QString("%1: damaged: %2").arg(path, damage(contents)));
            clean = false;
        }
        if (!a.scene.isEmpty()) {
            const QString main = main_namespace(contents.buttons);
            if (!a.name_space.isEmpty() && !main.isNull()) {
                QStringList from, to;
                add_namespace_pair(from, to, main.isEmpty() ? QString(":") : main, a.name_space);
                rebind_buttons(contents.buttons, from, to);
            }
            for (const QString& line : missing_objects(contents.buttons)) {
                say(QString("%1: %2").arg(path, line));
                clean = false;
            }
        }
        if (clean)
            say(QString("%1: ok, %2 buttons").arg(path).arg(contents.buttons.size()));
        else if (status == done)
            status = failed;
    }
    return status;
}

// Only the tool's own messages reach standard error: Qt's notes (a missing
// runtime folder, font warnings) mean nothing to a pipeline.
void quiet_qt(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "quillmarsh-pkr: %s\n", qPrintable(message));
        std::abort();
    }
}

} // namespace

int main(int argc, char** argv)
{
    qInstallMessageHandler(quiet_qt);
    // Painting previews needs a GUI, but never a screen; nothing else does.
    const bool painting = argc > 1 && std::strcmp(argv[1], "preview") == 0;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> app(painting ? new QApplication(argc, argv) : new QCoreApplication(argc, argv));
    QStringList args = QCoreApplication::arguments().mid(1);
    if (args.isEmpty() || args[0] == "-h" || args[0] == "--help") {
        std::fputs(usage_text, args.isEmpty() ? stderr : stdout);
        return args.isEmpty() ? bad_usage : done;
    }
    const QString command = args.takeFirst();
    if (command == "to-json")
        return to_json(args);
    if (command == "from-json")
        return from_json(args);
    if (command == "preview")
        return preview(args);
    if (command == "info")
        return info(args);
    if (command == "diff")
        return diff(args);
    if (command == "rebind")
        return rebind(args);
    if (command == "check")
        return check(args);
    return usage(QString("unknown command \"%1\"").arg(command));
}
