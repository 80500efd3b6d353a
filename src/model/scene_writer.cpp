#include "model/scene_writer.h"

#include "model/picker_stream.h"

#include <QSet>

#include <iterator>

namespace {

// Records a chunk of the scene text holds: an edit recompresses one chunk.
constexpr int chunk_records = 128;
// Pictures are PNG, compressed already: stored as they are they cost a
// tenth of level 1's time for 0.1% more text. The records compress well.
constexpr int image_level = 0;
constexpr int record_level = 6;

} // namespace

void write_window_stream(QDataStream& out, const QVector<const picker_page*>& pages, int current)
{
    out << qint32(picker_format::current_version) << qint32(pages.size()) << qint32(current);
    for (int i = 0; i < pages.size(); ++i) {
        const picker_page* page = pages[i];
        out << qint32(i) << page->name() << page->background_key();
        if (!page->background_key().isEmpty())
            out << page->background();
        write_button_list(out, page->attributes());
    }
}

const deflate_piece& scene_writer::image_piece(const png_picture& picture)
{
    auto it = images_.find(picture.key());
    if (it == images_.end()) {
        QByteArray bytes;
        {
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out << picture;
        }
        it = images_.insert(picture.key(), make_piece(bytes, image_level));
    }
    return it.value();
}

QByteArray scene_writer::encode(const QVector<const picker_page*>& pages, int current)
{
    // The same bytes write_window_stream writes, cut where cached pieces
    // can stand in.
    QVector<deflate_piece> pieces;
    QByteArray head;
    auto close_head = [&] {
        if (!head.isEmpty())
            pieces.append(make_piece(head, record_level));
        head.clear();
    };
    QSet<qint64> pictures;
    QSet<const picker_page*> seen;
    {
        QDataStream out(&head, QIODevice::WriteOnly);
        out << qint32(picker_format::current_version) << qint32(pages.size()) << qint32(current);
    }
    for (int i = 0; i < pages.size(); ++i) {
        const picker_page* page = pages[i];
        const QString& key = page->background_key();
        {
            QDataStream out(&head, QIODevice::Append);
            out << qint32(i) << page->name() << key;
        }
        if (!key.isEmpty()) {
            close_head();
            pieces.append(image_piece(page->background()));
            pictures.insert(page->background().key());
        }
        const int count = page->count();
        {
            QDataStream out(&head, QIODevice::Append);
            out << qint32(count);
        }
        if (count < 1)
            continue;
        close_head();
        seen.insert(page);
        QVector<deflate_piece>& chunks = buttons_[page];
        chunks.resize((count + chunk_records - 1) / chunk_records);
        for (int c = 0; c < chunks.size(); ++c) {
            QByteArray raw;
            {
                QDataStream out(&raw, QIODevice::WriteOnly);
                for (int j = c * chunk_records; j < count && j < (c + 1) * chunk_records; ++j)
                    write_button_record(out, j, page->at(j));
            }
            refresh_piece(chunks[c], raw, record_level);
            pieces.append(chunks[c]);
        }
    }
    close_head();
    // Pictures and pages that are gone take their pieces with them.
    for (auto it = images_.begin(); it != images_.end();)
        it = pictures.contains(it.key()) ? std::next(it) : images_.erase(it);
    for (auto it = buttons_.begin(); it != buttons_.end();)
        it = seen.contains(it.key()) ? std::next(it) : buttons_.erase(it);
    return join_pieces(pieces);
}
