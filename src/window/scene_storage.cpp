// Writing pickers and their background images into the host scene. Every
// command is queued for the host's idle time; nothing waits for it.
#include "model/picker_host.h"
#include "model/scene_data.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

void picker_window::setImageData(picker_view* view)
{
    if (!view || view->backgroundKey.isEmpty())
        return;
    picker_host::instance().run_mel_on_idle(
        QString("fileInfo \"%1%2\" \"%3\"; file -modified 1;")
            .arg(scene_keys::image_prefix, view->backgroundKey,
                 QString::fromLatin1(encode_image(view->background))));
}

void picker_window::removeImageData(picker_view* view)
{
    if (!view || view->backgroundKey.isEmpty())
        return;
    picker_host::instance().run_mel_on_idle(
        QString("fileInfo -remove \"%1%2\"; file -modified 1;").arg(scene_keys::image_prefix, view->backgroundKey));
}

void picker_window::fetchImageData(picker_view* view)
{
    if (!view || view->backgroundKey.isEmpty())
        return;
    picker_host::instance().run_mel_on_idle(
        QString("QuillmarshPicker fetch_image `fileInfo -q \"%1%2\"`;").arg(scene_keys::image_prefix, view->backgroundKey));
}
