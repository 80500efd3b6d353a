// The QuillmarshPicker command with hostile argument lists, in the stand-in
// host with the plug-in linked in.
//
// An input is up to max_lines lines, one command each. Fields are separated by
// tabs: the first names the directive (a single byte picks one from the
// table, anything longer is used as it is), the rest are its arguments. A line
// that starts with '@' sends the arguments as one string array through MEL,
// as a script passing a string[] would; other lines call the command with
// plain string arguments. Paths given to the directives that read files are
// confined to the harness's own folder, where a few picker and image files
// are put back before every input, so saving there never reaches the rest of
// the machine.
#include "fuzz_support.h"

#include "model/picker_stream.h"
#include "plugin/picker_main.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <sandbox/host.h>

#include <maya/MArgList.h>
#include <maya/MObject.h>
#include <maya/MStatus.h>

#include <QBuffer>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QMainWindow>
#include <QPainter>
#include <QPixmap>
#include <QTabWidget>

MStatus initializePlugin(MObject obj);
MStatus uninitializePlugin(MObject obj);

using sandbox::host;

namespace {

constexpr int max_lines = 24;
constexpr int max_args = 24;

// Not press_button, whose command buttons would run whatever script the
// input wrote, nor set_mirror_patterns, which writes the user's settings.
const char* const directives[] = {
    "clear", "select", "restore", "fetch_image", "set_background", "clear_background",
    "bind", "rebind", "update_namespace", "save", "saveas", "new_tab", "close_tab",
    "clear_tabs", "rename_tab", "query_tabs", "set_tab", "add_button", "add_cmd_button",
    "move_button", "rename_button", "update_button", "delete_button", "query_button",
    "get_button_bounds", "resize_button", "color_button", "color_button_text",
    "get_button_properties", "set_button_properties", "get_namespaces",
    "enable_batch_mode", "disable_batch_mode", "open", "flush", "mirror_buttons", "get_mirror_patterns"};
constexpr int directive_count = int(sizeof(directives) / sizeof(directives[0]));

// Directives whose arguments are file paths.
bool takes_paths(const QByteArray& directive)
{
    return directive == "open" || directive == "set_background" || directive == "save" || directive == "saveas";
}

QString home;

QString confined(const QByteArray& arg)
{
    QString name = QString::fromUtf8(arg);
    name.replace('/', '_').replace('\\', '_');
    return QDir(home).filePath("f_" + name);
}

void write_file(const QString& name, const QByteArray& bytes)
{
    QFile file(QDir(home).filePath(name));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(bytes);
}

QByteArray picker_file()
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(picker_format::pkr_stream_version);
    pkr_header header;
    header.name = "arm";
    write_pkr_header(out, header);
    buttonAttributes a;
    a.pos = QPoint(10, 10);
    a.size = a.width = a.height = 12;
    a.color = 0x3366cc;
    a.labelColor = 0xffffff;
    a.label = "L";
    a.names = QStringList{"hero:arm"};
    write_button_list(out, {a});
    return bytes;
}

QByteArray png_file()
{
    QImage image(8, 6, QImage::Format_RGB32);
    image.fill(0x808080);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// No directive has any business opening, saving or renaming the scene: such
// a call means data reached the host as MEL. It stops the run as a finding
// before it can write anywhere. Queries and the modified flag behave as usual.
mel::value guarded_file(mel::interpreter&, const QVector<mel::value>& args)
{
    host& h = host::instance();
    bool query = false;
    QString flag;
    for (const mel::value& arg : args) {
        const QString text = arg.to_string();
        if (text == "-q" || text == "-query") {
            query = true;
        } else if (text == "-sn" || text == "-sceneName") {
            return mel::value::from_string(h.scene_name());
        } else if (text == "-mf" || text == "-modified") {
            if (query)
                return mel::value::from_int(h.modified() ? 1 : 0);
            flag = text;
        } else if (!flag.isEmpty()) {
            h.set_modified(arg.to_int() != 0);
            return mel::value();
        } else {
            QStringList all;
            for (const mel::value& a : args)
                all << a.to_string();
            fprintf(stderr, "file operation from picker data: file %s\n", qPrintable(all.join(' ')));
            std::abort();
        }
    }
    return mel::value();
}

void start()
{
    static bool started = false;
    if (started)
        return;
    started = true;
    home = fuzz::start_application();
    // Like the application, the host window lives until the process ends;
    // tearing it down after the fonts are gone would only crash on the way out.
    static QMainWindow* main = new QMainWindow;
    host& h = host::instance();
    h.set_main_window(main);
    QString error;
    if (!h.load_linked_plugin("QuillmarshPicker", "plug-ins/QuillmarshPicker.so",
                              reinterpret_cast<void*>(&initializePlugin),
                              reinterpret_cast<void*>(&uninitializePlugin), &error)) {
        fprintf(stderr, "the plug-in did not load: %s\n", qPrintable(error));
        std::abort();
    }
    h.interpreter().register_command("file", guarded_file);
    h.drain_idle();
}

// Every input starts from the same state, so a finding replays alone.
void fresh_state()
{
    static const QByteArray picker = picker_file();
    static const QByteArray png = png_file();
    write_file("f_a.pkr", picker);
    write_file("f_bg.png", png);
    write_file("f_junk.pkr", "not a picker");
    host& h = host::instance();
    if (picker_window* w = picker_main::picker())
        w->clear_tabs();
    h.reset();
    h.execute("namespace -add hero; createNode transform -n \"hero:arm\" -ss;"
              "createNode transform -n \"hero:leg\" -ss; createNode transform -n \"body\" -ss;");
    h.execute("QuillmarshPicker disable_batch_mode");
    h.drain_idle();
}

void run_direct(const QByteArray& directive, const QList<QByteArray>& args)
{
    MArgList list;
    list.addArg(MString(directive.constData(), directive.size()));
    for (const QByteArray& arg : args)
        list.addArg(MString(arg.constData(), arg.size()));
    picker_main command;
    command.doIt(list);
}

void run_as_array(const QByteArray& directive, const QList<QByteArray>& args)
{
    QStringList items;
    for (const QByteArray& arg : args)
        items << sandbox::mel_quote(QString::fromUtf8(arg));
    host::instance().execute(QString("string $quill_args[] = {%1}; QuillmarshPicker %2 $quill_args;")
                                 .arg(items.join(", "), sandbox::mel_quote(QString::fromUtf8(directive))));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    start();
    fresh_state();
    const QList<QByteArray> lines = fuzz::bytes(data, size).split('\n');
    for (int i = 0; i < lines.size() && i < max_lines; ++i) {
        QByteArray line = lines[i];
        if (line.isEmpty())
            continue;
        const bool as_array = line.startsWith('@');
        if (as_array)
            line.remove(0, 1);
        QList<QByteArray> fields = line.split('\t');
        QByteArray directive = fields.takeFirst();
        if (directive.size() == 1)
            directive = directives[quint8(directive[0]) % directive_count];
        while (fields.size() > max_args)
            fields.removeLast();
        if (takes_paths(directive)) {
            for (QByteArray& field : fields)
                field = confined(field).toUtf8();
        }
        if (as_array)
            run_as_array(directive, fields);
        else
            run_direct(directive, fields);
        host::instance().drain_idle();
    }
    // What the script output showed, for reading a finding or a seed.
    static const bool verbose = qEnvironmentVariableIsSet("QUILL_FUZZ_VERBOSE");
    if (verbose) {
        mel::value tabs;
        host::instance().execute("QuillmarshPicker query_tabs", &tabs);
        picker_view* view = picker_main::current_view();
        fprintf(stderr, "%s\ntabs: %s; buttons on the current tab: %d\n",
                qPrintable(host::instance().output_text()), qPrintable(tabs.to_strings().join(", ")),
                view ? int(view->buttons().size()) : -1);
    }
    return 0;
}
