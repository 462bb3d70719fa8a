#include "SoundFile.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <limits>

namespace parlowen {

SoundFile::SoundFile(const QString& path) {
    const QFileInfo file(path);
    if (file.isFile()) // the library would take "-" for the standard input, and wait on a pipe
        handle_.reset(sf_open(QFile::encodeName(file.absoluteFilePath()).constData(), SFM_READ, &info_));
}

sf_count_t SoundFile::read(float* samples, sf_count_t frames) {
    sf_count_t done = 0;
    while (done < frames) {
        const sf_count_t got = sf_readf_float(handle_.get(), samples + done * info_.channels, frames - done);
        if (got <= 0)
            break;
        done += got;
    }
    position_ += done;
    atEnd_ = done < frames || position_ == info_.frames;
    return done;
}

} // namespace parlowen
