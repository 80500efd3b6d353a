// quillmarsh-sandbox: a stand-alone host for trying and authoring pickers
// without Maya, and for scripted runs (tests, screenshots for the docs).
#include "batch_session.h"
#include "command_line.h"
#include "dialog_closer.h"
#include "picker_steps.h"
#include "sandbox_window.h"

#include <sandbox/host.h>

#include <QApplication>
#include <QFileInfo>

#include <cstdio>
#include <utility>

int main(int argc, char* argv[])
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    if (args.contains("--help") || args.contains("-h")) {
        std::fputs(usage_text().toUtf8().constData(), stdout);
        return 0;
    }
    app_options options;
    QString error;
    if (!parse_command_line(args, &options, &error)) {
        std::fprintf(stderr, "quillmarsh-sandbox: %s\n%s", qUtf8Printable(error), qUtf8Printable(usage_text()));
        return 2;
    }
    // Qt would take "--plugin PATH" as its own option, so it sees none of ours.
    int qt_argc = 1;
    if (options.batch) {
        // As in Maya's batch mode, any widget made in this process aborts it.
        QCoreApplication app(qt_argc, argv);
        return run_batch(options);
    }
    QApplication app(qt_argc, argv);

    auto& host = sandbox::host::instance();
    sandbox_window window(options.quit);
    host.set_main_window(&window); // before the plug-in loads: it docks into this window
    if (options.quit)
        new dialog_closer(&app);
    window.show();

    if (!options.plugin.isEmpty()) {
        window.load_plugin(options.plugin);
    } else {
        const QString beside = QCoreApplication::applicationDirPath() + "/QuillmarshPicker.so";
        if (QFileInfo::exists(beside))
            window.load_plugin(beside);
        else
            host.log(sandbox::log_kind::warning,
                     QString("No plug-in module at %1: starting without the picker.").arg(beside));
    }
    if (!options.scene.isEmpty())
        window.open_scene(options.scene);
    if (host.interpreter().has_command(picker_command))
        window.run_mel(picker_command, false);
    window.settle();

    for (const app_step& step : std::as_const(options.steps)) {
        switch (step.what) {
        case app_step::mel: window.run_mel(step.value, true); break;
        case app_step::mel_file: window.run_mel_file(step.value); break;
        case app_step::python: window.run_python(step.value, true); break;
        case app_step::python_file: window.run_python_file(step.value); break;
        case app_step::screenshot: window.save_screenshot(step.value); break;
        case app_step::save_scene: window.save_scene_to(step.value); break;
        case app_step::picker_size: resize_picker(&window, step.value); break;
        case app_step::picker_zoom: zoom_picker(&window, step.value); break;
        }
        window.settle();
    }

    if (options.quit) {
        window.close_unasked(); // tells the plug-in the application quits
        return host.error_count() > 0 ? 1 : 0;
    }
    return app.exec();
}
