#include "pkr_scene_check.h"

#include "model/namespaces.h"
#include "model/object_names.h"
#include "model/safe_file.h"

#include <sandbox/host.h>

#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <utility>

namespace {

// A scene and each file it references are read whole, so each is bounded.
constexpr qint64 max_scene_bytes = qint64(256) << 20;
constexpr int max_references = 1000;

[[noreturn]] void refuse(const QString& why)
{
    throw mel::command_failed{why};
}

bool readable(const QString& path, QString* why)
{
    QFile file;
    QString reason;
    if (open_regular_file(file, path, &reason) != read_open::ok) {
        *why = QString("cannot open \"%1\": %2").arg(path, reason);
        return false;
    }
    if (file.size() > max_scene_bytes) {
        *why = QString("\"%1\" is larger than the %2 MB a scene may be here").arg(path).arg(max_scene_bytes >> 20);
        return false;
    }
    return true;
}

// `file` for references only: a scene that opens, saves or renames scenes
// while it is read would change files a check must not touch.
mel::value reference_only(sandbox::host& h, const QVector<mel::value>& args, int* references)
{
    bool reference = false;
    QString ns;
    QStringList paths;
    for (int i = 0; i < args.size(); ++i) {
        const QString arg = args[i].to_string();
        if (arg == "-r" || arg == "-reference") {
            reference = true;
        } else if (arg == "-ns" || arg == "-namespace" || arg == "-typ" || arg == "-type" || arg == "-op"
                   || arg == "-options") {
            if (i + 1 >= args.size())
                refuse(QString("file: %1 needs a value").arg(arg));
            if (arg.startsWith("-n"))
                ns = args[i + 1].to_string();
            ++i;
        } else if (arg == "-f" || arg == "-force" || arg == "-iv" || arg == "-ignoreVersion") {
        } else if (arg.startsWith('-')) {
            refuse(QString("file: %1 is not read when checking; only references are").arg(arg));
        } else {
            paths << arg;
        }
    }
    if (!reference || paths.size() != 1)
        refuse("file: only a reference to one file is read when checking");
    if (++*references > max_references)
        refuse(QString("file: more than %1 references").arg(max_references));
    QString why, used;
    if (!readable(paths[0], &why) || !h.reference_file(paths[0], ns, &used, &why))
        refuse("file: " + why);
    return mel::value::from_string(paths[0]);
}

QString node_part(const QString& name)
{
    return name.left(node_end(name));
}

// How a line names a button.
QString button_text(const buttonAttributes& b)
{
    if (!b.label.isEmpty())
        return QString("button \"%1\"").arg(b.label);
    return QString("button at %1,%2").arg(b.pos.x()).arg(b.pos.y());
}

QString absent(sandbox::host& h, const QString& node)
{
    if (h.node_exists(node))
        return QString();
    const int count = h.list(node).size();
    return count > 1 ? QString("ambiguous %1 (%2 nodes)").arg(node).arg(count) : "missing " + node;
}

} // namespace

bool open_scene_for_check(const QString& path, QString* why)
{
    if (!readable(path, why))
        return false;
    sandbox::host& h = sandbox::host::instance();
    h.set_batch(true);
    mel::interpreter& mel = h.interpreter();
    static int references = 0;
    references = 0;
    mel.register_command("file", [&h](mel::interpreter&, const QVector<mel::value>& args) {
        return reference_only(h, args, &references);
    });
    for (const char* command : {"loadPlugin", "unloadPlugin", "evalDeferred"})
        mel.register_command(command, [command](mel::interpreter&, const QVector<mel::value>&) -> mel::value {
            refuse(QString("%1 is not run when checking a scene").arg(command));
        });
    h.clear_output();
    QString error;
    if (!h.open_scene(path, &error)) {
        QStringList errors;
        for (const sandbox::log_entry& entry : h.output())
            if (entry.kind == sandbox::log_kind::error)
                errors << entry.text;
        *why = errors.isEmpty() ? error : QString("%1 %2").arg(error, errors.join("; "));
        return false;
    }
    return true;
}

QString main_namespace(const QVector<buttonAttributes>& buttons)
{
    QStringList names;
    for (const buttonAttributes& b : buttons)
        if (names_scene_objects(b.kind))
            names += b.names;
    // The picker's own notion, as update_namespace moves it.
    const QString first = namespaces_by_use(names).value(0);
    return first == ":" ? QString("") : first;
}

QStringList missing_objects(const QVector<buttonAttributes>& buttons)
{
    sandbox::host& h = sandbox::host::instance();
    QSet<QString> bound;
    for (const buttonAttributes& b : buttons)
        if (names_scene_objects(b.kind))
            for (const QString& name : b.names)
                bound.insert(node_part(name));
    QStringList out;
    for (const buttonAttributes& b : buttons) {
        QStringList nodes;
        if (names_scene_objects(b.kind)) {
            for (const QString& name : b.names)
                if (!name.isEmpty())
                    nodes << node_part(name);
        } else {
            nodes = script_object_nodes(b.names.join('\n'), b.language == 1, bound);
        }
        nodes.removeDuplicates();
        for (const QString& node : std::as_const(nodes)) {
            const QString problem = absent(h, node);
            if (!problem.isEmpty())
                out << QString("%1: %2").arg(button_text(b), problem);
        }
    }
    return out;
}
