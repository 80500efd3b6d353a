// quillmarsh-pkr: picker files for pipelines. Converts .pkr files to a
// diff-friendly JSON and back, renders previews with the picker's own
// painting, reports what a file holds, rebinds namespaces and checks files
// for damage. It never needs a display, and never writes anything when it
// fails.
#include "model/picker_file.h"
#include "model/pkr_json.h"
#include "model/safe_file.h"
#include "model/namespaces.h"
#include "view/overlays.h"
#include "view/picker_view.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSet>
#include <QTextStream>

#include <cstdio>

namespace {

const char* const usage_text =
    "usage: quillmarsh-pkr COMMAND ...\n"
    "  to-json FILE.pkr [-o FILE.json] [--embed]\n"
    "      the picker as JSON; its picture goes to a PNG beside the JSON\n"
    "      (FILE.png), or into the JSON as base64 with --embed\n"
    "  from-json FILE.json [-o FILE.pkr] [--allow-outside-paths]\n"
    "      the picker file the JSON describes; a picture file it names is read\n"
    "      only from the JSON's folder or below, unless --allow-outside-paths\n"
    "  preview FILE.pkr -o FILE.png [--size WIDTHxHEIGHT]\n"
    "      the picker as the picker window paints it, framed (default 800x800)\n"
    "  info FILE.pkr\n"
    "      name, picture, buttons and namespaces\n"
    "  rebind FILE.pkr OLD=NEW ... [-o OUT.pkr]\n"
    "      object names and scripts moved from namespace OLD to NEW (\":\" or\n"
    "      an empty side is the root); writes over FILE.pkr without -o\n"
    "  check FILE.pkr ...\n"
    "      reports damage; the exit status is 1 when any file is damaged\n"
    "Exit status: 0 done, 1 failed (nothing written), 2 wrong arguments.\n";

enum exit_code { done = 0, failed = 1, bad_usage = 2 };

int usage(const QString& why)
{
    std::fprintf(stderr, "quillmarsh-pkr: %s\n%s", qPrintable(why), usage_text);
    return bad_usage;
}

int error(const QString& why)
{
    std::fprintf(stderr, "quillmarsh-pkr: %s\n", qPrintable(why));
    return failed;
}

void say(const QString& text)
{
    std::fputs(qPrintable(text + "\n"), stdout);
}

// The command line after the command: plain arguments and options.
struct arguments {
    QStringList plain;
    QString output;
    QString size;
    bool embed = false;
    bool outside = false;
    QString problem;
};

arguments parse(const QStringList& args, const QSet<QString>& allowed)
{
    arguments a;
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (arg == "-o" || arg == "--size") {
            if (!allowed.contains(arg) || i + 1 >= args.size()) {
                a.problem = allowed.contains(arg) ? arg + " needs a value" : arg + " is not an option here";
                return a;
            }
            (arg == "-o" ? a.output : a.size) = args[++i];
        } else if (arg == "--embed" && allowed.contains(arg)) {
            a.embed = true;
        } else if (arg == "--allow-outside-paths" && allowed.contains(arg)) {
            a.outside = true;
        } else if (arg.startsWith("-") && arg.size() > 1) {
            a.problem = arg + " is not an option here";
            return a;
        } else {
            a.plain << arg;
        }
    }
    return a;
}

// An input file, opened only when it is a regular file.
bool open_input(QFile& file, const QString& path, QString* why)
{
    QString reason;
    if (open_regular_file(file, path, &reason) == read_open::ok)
        return true;
    *why = QString("cannot open \"%1\": %2").arg(path, reason);
    return false;
}

// A whole, undamaged picker file, or false with the reason.
bool read_whole(const QString& path, pkr_contents& contents, QString* why)
{
    QFile file;
    if (!open_input(file, path, why))
        return false;
    QString reason;
    if (!read_pkr(file, contents, &reason)) {
        *why = QString("\"%1\" is not a picker file: %2").arg(path, reason);
        return false;
    }
    if (contents.damaged || contents.image_refused) {
        *why = QString("\"%1\" is damaged: %2 of %3 buttons read%4")
                   .arg(path)
                   .arg(contents.buttons.size())
                   .arg(contents.declared)
                   .arg(contents.image_refused ? ", picture refused" : "");
        return false;
    }
    return true;
}

QList<buttonAttributes> as_list(const QVector<buttonAttributes>& buttons)
{
    return QList<buttonAttributes>(buttons.begin(), buttons.end());
}

bool write_out(const QString& path, const QByteArray& bytes, QString* why)
{
    QString reason;
    if (write_file_safely(path, bytes, &reason))
        return true;
    *why = QString("cannot write \"%1\": %2").arg(path, reason);
    return false;
}

int to_json(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--embed"});
    if (!a.problem.isEmpty() || a.plain.size() != 1)
        return usage(a.problem.isEmpty() ? "to-json takes one picker file" : a.problem);
    pkr_contents contents;
    QString why;
    if (!read_whole(a.plain[0], contents, &why))
        return error(why);
    const QFileInfo in(a.plain[0]);
    const QString json_path = a.output.isEmpty() ? in.path() + "/" + in.completeBaseName() + ".json" : a.output;
    const QFileInfo out(json_path);
    const QByteArray png = pkr_json::picture_png(contents.header);
    const QString image_name = png.isEmpty() || a.embed ? QString() : out.completeBaseName() + ".png";
    if (!image_name.isEmpty() && !write_out(out.dir().filePath(image_name), png, &why))
        return error(why);
    if (!write_out(json_path, pkr_json::to_json(contents, image_name), &why))
        return error(why);
    return done;
}

int from_json(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--allow-outside-paths"});
    if (!a.problem.isEmpty() || a.plain.size() != 1)
        return usage(a.problem.isEmpty() ? "from-json takes one JSON file" : a.problem);
    QFile file;
    QString why;
    if (!open_input(file, a.plain[0], &why))
        return error(why);
    if (file.size() > 2 * limits::max_file_bytes)
        return error(QString("\"%1\": the text is too large to be a picker").arg(a.plain[0]));
    const QFileInfo in(a.plain[0]);
    pkr_header header;
    QList<buttonAttributes> buttons;
    const auto pictures = a.outside ? pkr_json::picture_files::anywhere : pkr_json::picture_files::inside_base_dir;
    if (!pkr_json::from_json(file.read(2 * limits::max_file_bytes + 1), in.path(), header, buttons, &why, pictures))
        return error(QString("\"%1\": %2").arg(a.plain[0], why));
    const QString path = a.output.isEmpty() ? in.path() + "/" + in.completeBaseName() + ".pkr" : a.output;
    const QByteArray bytes = write_pkr(header, buttons);
    // A file the picker would refuse to open is not written.
    if (bytes.size() > limits::max_file_bytes)
        return error(QString("\"%1\": the picker would be %2 MB; a picker file holds at most %3 MB")
                         .arg(a.plain[0]).arg(bytes.size() >> 20).arg(limits::max_file_bytes >> 20));
    if (!write_out(path, bytes, &why))
        return error(why);
    return done;
}

int preview(const QStringList& args)
{
    const arguments a = parse(args, {"-o", "--size"});
    if (!a.problem.isEmpty() || a.plain.size() != 1 || a.output.isEmpty())
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
    pkr_contents contents;
    QString why;
    if (!read_whole(a.plain[0], contents, &why))
        return error(why);
    picker_view view(nullptr);
    view.setAttribute(Qt::WA_DontShowOnScreen);
    view.resize(size);
    view.show();
    if (!contents.header.backgroundKey.isEmpty())
        view.setBackground(contents.header.backgroundKey, contents.header.background);
    for (const buttonAttributes& b : qAsConst(contents.buttons))
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
    if (!write_out(a.output, png, &why))
        return error(why);
    return done;
}

QStringList namespaces_of(const QVector<buttonAttributes>& buttons)
{
    QStringList found;
    for (const buttonAttributes& b : buttons)
        if (b.kind == 0)
            for (const QString& name : b.names)
                extract_namespace(found, name);
    std::sort(found.begin(), found.end(), compare_name);
    return found;
}

int info(const QStringList& args)
{
    const arguments a = parse(args, {});
    if (!a.problem.isEmpty() || a.plain.size() != 1)
        return usage(a.problem.isEmpty() ? "info takes one picker file" : a.problem);
    QFile file;
    QString why;
    if (!open_input(file, a.plain[0], &why))
        return error(why);
    pkr_contents contents;
    if (!read_pkr(file, contents, &why))
        return error(QString("\"%1\" is not a picker file: %2").arg(a.plain[0], why));
    int commands = 0;
    for (const buttonAttributes& b : qAsConst(contents.buttons))
        commands += b.kind == 1;
    const pkr_header& h = contents.header;
    say(QString("name: %1").arg(h.name));
    say(QString("format version: %1").arg(h.version));
    say(h.background.isNull() ? QString("picture: none")
                              : QString("picture: %1 x %2").arg(h.background.width()).arg(h.background.height()));
    say(QString("buttons: %1 (%2 selection, %3 command)")
            .arg(contents.buttons.size())
            .arg(contents.buttons.size() - commands)
            .arg(commands));
    say(QString("namespaces: %1").arg(namespaces_of(contents.buttons).join(' ')));
    if (contents.damaged || contents.image_refused)
        say(QString("damaged: %1 of %2 buttons read%3")
                .arg(contents.buttons.size())
                .arg(contents.declared)
                .arg(contents.image_refused ? ", picture refused" : ""));
    return done;
}

int rebind(const QStringList& args)
{
    const arguments a = parse(args, {"-o"});
    if (!a.problem.isEmpty() || a.plain.size() < 2)
        return usage(a.problem.isEmpty() ? "rebind takes a picker file and OLD=NEW pairs" : a.problem);
    QStringList from, to;
    for (int i = 1; i < a.plain.size(); ++i) {
        const QStringList pair = a.plain[i].split('=');
        if (pair.size() != 2 || !is_valid_namespace(pair[0]) || !is_valid_namespace(pair[1]))
            return usage(QString("\"%1\" is not OLD=NEW with two namespaces").arg(a.plain[i]));
        add_namespace_pair(from, to, pair[0], pair[1]);
    }
    pkr_contents contents;
    QString why;
    if (!read_whole(a.plain[0], contents, &why))
        return error(why);
    rebind_buttons(contents.buttons, from, to);
    const QString path = a.output.isEmpty() ? a.plain[0] : a.output;
    if (!write_out(path, write_pkr(contents.header, as_list(contents.buttons)), &why))
        return error(why);
    return done;
}

int check(const QStringList& args)
{
    const arguments a = parse(args, {});
    if (!a.problem.isEmpty() || a.plain.isEmpty())
        return usage(a.problem.isEmpty() ? "check takes picker files" : a.problem);
    int status = done;
    for (const QString& path : a.plain) {
        pkr_contents contents;
        QString why;
        if (read_whole(path, contents, &why)) {
            say(QString("%1: ok, %2 buttons").arg(path).arg(contents.buttons.size()));
        } else {
            say(QString("%1: %2").arg(path, why));
            status = failed;
        }
    }
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    // Painting previews needs a GUI, but never a screen.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
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
    if (command == "rebind")
        return rebind(args);
    if (command == "check")
        return check(args);
    return usage(QString("unknown command \"%1\"").arg(command));
}
