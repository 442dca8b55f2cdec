// Runs a fuzz target's entry point over files, so that a normal build of the
// tests replays the seeds and every input the fuzzer ever found: what once
// crashed stays fixed. Arguments are files or directories (walked for
// files up to 1 MB).
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), static_cast<size_t>(bytes.size()));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (!QFileInfo(argument).isDir()) {
            ok = replay(argument) && ok;
            ++count;
            continue;
        }
        QDirIterator walk(argument, QDir::Files, QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            const QString path = walk.next();
            if (QFileInfo(path).size() <= 1024 * 1024) {
                ok = replay(path) && ok;
                ++count;
            }
        }
    }
    std::printf("replayed %d inputs\n", count);
    return ok && count > 0 ? 0 : 1;
}
