#include "batch_session.h"

#include <sandbox/host.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

sandbox::host& the_host()
{
    return sandbox::host::instance();
}

void report_error(const QString& text)
{
    the_host().log(sandbox::log_kind::error, text);
}

bool read_script(const QString& path, const char* what, QString* text)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report_error(QString("Could not read %1 file \"%2\": %3").arg(what, path, file.errorString()));
        return false;
    }
    *text = QString::fromUtf8(file.readAll());
    return true;
}

void run_step(const app_step& step)
{
    auto& host = the_host();
    QString text, error;
    switch (step.what) {
    case app_step::mel: host.execute(step.value, nullptr, true); break;
    case app_step::mel_file:
        if (read_script(step.value, "MEL", &text))
            host.execute(text);
        break;
    case app_step::python: host.execute_python(step.value, nullptr, true); break;
    case app_step::python_file:
        if (read_script(step.value, "Python", &text))
            host.execute_python(text, nullptr, false, QFileInfo(step.value).absoluteFilePath());
        break;
    case app_step::save_scene:
        if (!host.save_scene(step.value, &error))
            report_error(error);
        break;
    case app_step::screenshot:
    case app_step::picker_size:
    case app_step::picker_zoom:
        // Refused with the command line: they need the interface.
        break;
    }
}

} // namespace

int run_batch(const app_options& options)
{
    auto& host = the_host();
    host.set_batch(true);
    host.set_main_window(nullptr);
    // Everything the session prints goes to standard output, as maya -batch does.
    host.on_output = [](const sandbox::log_entry& entry) {
        QString line = entry.formatted();
        if (!line.endsWith('\n'))
            line += '\n';
        std::fputs(line.toUtf8().constData(), stdout);
        std::fflush(stdout);
    };
    host.on_idle_queued = nullptr;

    QString name, error;
    QString plugin = options.plugin;
    if (plugin.isEmpty()) {
        plugin = QCoreApplication::applicationDirPath() + "/QuillmarshPicker.so";
        if (!QFileInfo::exists(plugin)) {
            host.log(sandbox::log_kind::warning,
                     QString("No plug-in module at %1: starting without the picker.").arg(plugin));
            plugin.clear();
        }
    }
    if (!plugin.isEmpty() && !host.load_plugin(plugin, &name, &error))
        report_error(error);
    if (!options.scene.isEmpty() && !host.open_scene(options.scene, &error))
        report_error(error);
    for (const app_step& step : options.steps)
        run_step(step);
    host.quit();
    host.on_output = nullptr;
    return host.error_count() > 0 ? 1 : 0;
}
