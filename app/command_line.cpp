#include "command_line.h"

#include <utility>

namespace {

const QStringList value_options = {"--plugin", "--mel", "--mel-file", "--py", "--py-file",
                                   "--screenshot", "--save-scene", "--picker-size", "--picker-zoom"};

} // namespace

QString usage_text()
{
    return "usage: quillmarsh-sandbox [scene.ma] [--plugin PATH] [--mel TEXT]... "
           "[--mel-file FILE]...\n"
           "                          [--py TEXT]... [--py-file FILE]...\n"
           "                          [--picker-size WIDTHxHEIGHT] [--picker-zoom ZOOM]\n"
           "                          [--screenshot FILE.png] [--save-scene FILE.ma] [--quit]\n"
           "       quillmarsh-sandbox --batch [scene.ma] [--plugin PATH] [--mel TEXT]... [--mel-file FILE]...\n"
           "                          [--py TEXT]... [--py-file FILE]... [--save-scene FILE.ma]\n";
}

bool parse_command_line(const QStringList& args, app_options* options, QString* error)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (arg == "--quit") {
            options->quit = true;
            continue;
        }
        if (arg == "--batch") {
            options->batch = true;
            continue;
        }
        if (value_options.contains(arg)) {
            // An option name where a value belongs is a forgotten value, not
            // a file called "--quit".
            if (i + 1 >= args.size() || args[i + 1] == "--quit" || args[i + 1] == "--batch"
                || value_options.contains(args[i + 1])) {
                *error = QString("%1 needs a value").arg(arg);
                return false;
            }
            const QString value = args[++i];
            if (arg == "--plugin")
                options->plugin = value;
            else if (arg == "--mel")
                options->steps.append({app_step::mel, value});
            else if (arg == "--mel-file")
                options->steps.append({app_step::mel_file, value});
            else if (arg == "--py")
                options->steps.append({app_step::python, value});
            else if (arg == "--py-file")
                options->steps.append({app_step::python_file, value});
            else if (arg == "--screenshot")
                options->steps.append({app_step::screenshot, value});
            else if (arg == "--picker-size")
                options->steps.append({app_step::picker_size, value});
            else if (arg == "--picker-zoom")
                options->steps.append({app_step::picker_zoom, value});
            else
                options->steps.append({app_step::save_scene, value});
            continue;
        }
        if (arg.startsWith('-')) {
            *error = QString("unknown option %1").arg(arg);
            return false;
        }
        if (!options->scene.isEmpty()) {
            *error = QString("only one scene can be opened, got %1 and %2").arg(options->scene, arg);
            return false;
        }
        options->scene = arg;
    }
    if (options->batch) {
        for (const app_step& step : std::as_const(options->steps)) {
            if (step.what == app_step::screenshot || step.what == app_step::picker_size
                || step.what == app_step::picker_zoom) {
                *error = "--screenshot, --picker-size and --picker-zoom need the interface, which --batch has not";
                return false;
            }
        }
    }
    return true;
}
