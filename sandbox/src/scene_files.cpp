// New, open and save: the scene as a Maya ASCII file, and the events around
// each of them.
#include "host_private.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTextStream>

namespace sandbox {

QString mel_quote(const QString& text)
{
    QString out;
    out.reserve(text.size() + 2);
    out += '"';
    for (QChar c : text) {
        switch (c.unicode()) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        case '\r': out += "\\r"; break;
        default: out += c;
        }
    }
    out += '"';
    return out;
}

void host::new_scene()
{
    fire(scene_events::before_new);
    fire("deleteAll");
    d->scene.reset();
    d->undo.flush(); // a new scene cannot be undone into the old one
    kill_orphaned_attribute_jobs(*this);
    fire("NewSceneOpened");
    fire(scene_events::after_new);
}

bool host::open_scene(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QString("Could not open file \"%1\": %2").arg(path, file.errorString());
        return false;
    }
    const QString text = QString::fromUtf8(file.readAll());
    fire(scene_events::before_open);
    fire("deleteAll");
    scene_state& scene = d->scene;
    scene.reset();
    d->undo.flush(); // as for a new scene
    kill_orphaned_attribute_jobs(*this);
    // A scene file is MEL: its commands build the scene.
    scene.loading = true;
    bool ok = d->interp.eval(text);
    scene.loading = false;
    scene.set_current_namespace(QString()); // the file may have left one set
    scene.file_name = QFileInfo(path).absoluteFilePath();
    scene.modified = false;
    fire("SceneOpened");
    fire(scene_events::after_open);
    if (!ok && error)
        *error = QString("Errors while reading \"%1\".").arg(path);
    return ok;
}

QString host::scene_text() const
{
    const scene_state& scene = d->scene;
    QString name = scene.file_name.isEmpty() ? QString("untitled") : QFileInfo(scene.file_name).fileName();
    QString out;
    QTextStream s(&out);
    s << "//Maya ASCII 2022 scene\n";
    s << "//Name: " << name << "\n";
    s << "//Codeset: UTF-8\n";
    s << "requires maya \"2022\";\n";
    s << "currentUnit -l " << scene.units.linear << " -a " << scene.units.angle << " -t "
      << scene.units.time << ";\n";
    for (const auto& entry : scene.file_info_table())
        s << "fileInfo " << mel_quote(entry.first) << " " << mel_quote(entry.second) << ";\n";
    // The referenced files first: the scene's own nodes may sit below theirs.
    for (const scene_state::reference& r : scene.references())
        if (r.parent < 0)
            s << "file -r -ns " << mel_quote(r.ns) << " " << mel_quote(r.path) << ";\n";
    for (const QString& ns : scene.namespaces()) {
        if (scene_state::is_permanent_namespace(ns) || scene.is_referenced_namespace(ns))
            continue;
        int colon = ns.lastIndexOf(':');
        if (colon < 0)
            s << "namespace -add " << mel_quote(ns) << ";\n";
        else
            s << "namespace -add " << mel_quote(ns.mid(colon + 1)) << " -parent "
              << mel_quote(':' + ns.left(colon)) << ";\n";
    }
    s << scene.node_text();
    s << "// End of " << name << "\n";
    return out;
}

bool host::reference_file(const QString& path, const QString& ns, QString* used, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QString("Could not open file \"%1\": %2").arg(path, file.errorString());
        return false;
    }
    const QString text = QString::fromUtf8(file.readAll());
    scene_state& scene = d->scene;
    // A namespace already there gets a number, as Maya gives it.
    QString wanted = ns.startsWith(':') ? ns.mid(1) : ns;
    if (wanted.isEmpty())
        wanted = QFileInfo(path).completeBaseName();
    const QString outer = scene.reference_namespace();
    auto full = [&outer](const QString& name) { return outer.isEmpty() ? name : outer + ':' + name; };
    QString name = wanted;
    if (scene.namespace_exists(full(name))) {
        QString base = wanted;
        while (!base.isEmpty() && base.back().isDigit())
            base.chop(1);
        for (int n = 1; scene.namespace_exists(full(name = base + QString::number(n))); ++n) {
        }
    }
    QString made;
    // Made from the root (a nested reference's from its file's namespace),
    // whatever namespace is current.
    const QString current = scene.current_namespace();
    scene.set_current_namespace(":");
    if (!scene.add_namespace(name, QString(), &made, error)) {
        scene.set_current_namespace(':' + current);
        return false;
    }
    const int previous = scene.begin_reference(made, path);
    const bool was_loading = scene.loading;
    scene.loading = true;
    const bool ok = d->interp.eval(text);
    scene.loading = was_loading;
    scene.end_reference(previous);
    scene.set_current_namespace(':' + current);
    if (used)
        *used = made;
    if (!ok && error)
        *error = QString("Errors while reading \"%1\".").arg(path);
    return ok;
}

bool host::save_scene(const QString& path, QString* error)
{
    QString target = path.isEmpty() ? d->scene.file_name : path;
    if (target.isEmpty()) {
        if (error)
            *error = "The scene has no name yet: save it with a file name.";
        return false;
    }
    QString previous = d->scene.file_name;
    d->scene.file_name = QFileInfo(target).absoluteFilePath();
    // What plug-ins keep in the scene goes in before it is written.
    fire(scene_events::before_save);
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = QString("Could not write \"%1\": %2").arg(target, file.errorString());
        d->scene.file_name = previous;
        return false;
    }
    file.write(scene_text().toUtf8());
    if (!file.commit()) {
        if (error)
            *error = QString("Could not write \"%1\": %2").arg(target, file.errorString());
        d->scene.file_name = previous;
        return false;
    }
    d->scene.modified = false;
    fire("SceneSaved");
    fire(scene_events::after_save);
    return true;
}

void host::quit()
{
    fire("quitApplication");
}

} // namespace sandbox
