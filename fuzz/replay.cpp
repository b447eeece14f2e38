// Runs a fuzz target over files, without a fuzzer: each argument is a file or a folder of files.
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "replay: cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray input = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.constData()),
                           static_cast<std::size_t>(input.size()));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        const QStringList files = QDir(argument).entryList(QDir::Files);
        const QStringList paths = QFileInfo(argument).isDir() ? files : QStringList{QString()};
        for (const QString &name : paths) {
            if (!replay(name.isEmpty() ? argument : argument + QLatin1Char('/') + name))
                return 2;
            ++replayed;
        }
    }
    if (replayed == 0) {
        std::fprintf(stderr, "replay: no input\n");
        return 2;
    }
    std::fprintf(stderr, "replayed %d inputs\n", replayed);
    return 0;
}
