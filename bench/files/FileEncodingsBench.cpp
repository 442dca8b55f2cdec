// Decoding, encoding and line-break conversion of a 50 MB file.
#include "files/FileEncodings.h"
#include "files/GeneralUtility.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

namespace {

constexpr qsizetype FileSize = 50 * 1024 * 1024;

QString pageText(const QString &lineBreak)
{
    static const QStringList lines = {
        QStringLiteral("<!DOCTYPE html>"),
        QStringLiteral("<html lang=\"en\">"),
        QStringLiteral("<head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\"></head>"),
        QStringLiteral("<?php foreach ($items as $item): ?>"),
        QStringLiteral("  <li class=\"item\"><?= htmlspecialchars($item['title']) ?> — Résumé, café</li>"),
        QStringLiteral("<?php endforeach; ?>"),
        QStringLiteral("<script>const total = items.reduce((sum, i) => sum + i.price, 0);</script>"),
        QStringLiteral("  <p>Plain paragraph text of an ordinary page, with nothing special in it.</p>"),
    };
    QString text;
    text.reserve(FileSize + 200);
    for (qsizetype i = 0; text.size() < FileSize; ++i) {
        text += lines[i % lines.size()];
        text += lineBreak;
    }
    return text;
}

const QString &unixText()
{
    static const QString text = pageText(QStringLiteral("\n"));
    return text;
}

const QString &dosText()
{
    static const QString text = pageText(QStringLiteral("\r\n"));
    return text;
}

const QByteArray &utf8Bytes()
{
    static const QByteArray bytes = unixText().toUtf8();
    return bytes;
}

// Bytes decoded with the encoding known, as for a file with a stored encoding.
void BM_DecodeUTF8Known(benchmark::State &state)
{
    const QByteArray &bytes = utf8Bytes();
    for (auto _ : state) {
        MVStringEncoding encoding = FileEncodings::UTF8Encoding;
        benchmark::DoNotOptimize(FileEncodings::createWithData(bytes, QStringLiteral("page.php"), &encoding));
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_DecodeUTF8Known)->Unit(benchmark::kMillisecond);

// The same with the encoding found from the declaration in the file.
void BM_DecodeUTF8Detected(benchmark::State &state)
{
    const QByteArray &bytes = utf8Bytes();
    for (auto _ : state) {
        MVStringEncoding encoding = 0;
        benchmark::DoNotOptimize(FileEncodings::createWithData(bytes, QStringLiteral("page.php"), &encoding));
        if (encoding != FileEncodings::UTF8Encoding)
            state.SkipWithError("declaration not found");
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_DecodeUTF8Detected)->Unit(benchmark::kMillisecond);

// Read from disk and decode, as a file is opened.
void BM_OpenFileFromDisk(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("page.php"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(utf8Bytes()) != utf8Bytes().size()) {
            state.SkipWithError("cannot write the input file");
            return;
        }
    }
    for (auto _ : state) {
        MVStringEncoding encoding = 0;
        benchmark::DoNotOptimize(FileEncodings::createWithContentsOfFile(path, &encoding));
    }
    state.SetBytesProcessed(state.iterations() * utf8Bytes().size());
}
BENCHMARK(BM_OpenFileFromDisk)->Unit(benchmark::kMillisecond);

void BM_DecodeLatin1(benchmark::State &state)
{
    MVStringEncoding latin1 = FileEncodings::ISOLatin1Encoding;
    static const QByteArray bytes = *FileEncodings::dataUsingEncoding(unixText(), &latin1, nullptr);
    for (auto _ : state) {
        MVStringEncoding encoding = FileEncodings::ISOLatin1Encoding;
        benchmark::DoNotOptimize(FileEncodings::createWithData(bytes, QStringLiteral("page.php"), &encoding));
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_DecodeLatin1)->Unit(benchmark::kMillisecond);

// Invalid UTF-8 at the very end: the whole strict try, then the fallback.
void BM_DecodeFallback(benchmark::State &state)
{
    static const QByteArray bytes = utf8Bytes() + "\xFF";
    for (auto _ : state) {
        MVStringEncoding encoding = FileEncodings::UTF8Encoding;
        MVError error;
        benchmark::DoNotOptimize(FileEncodings::createWithData(bytes, QStringLiteral("page.php"), &encoding, &error));
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_DecodeFallback)->Unit(benchmark::kMillisecond);

void BM_EncodeUTF8(benchmark::State &state)
{
    const QString &text = unixText();
    for (auto _ : state) {
        MVStringEncoding encoding = FileEncodings::UTF8Encoding;
        benchmark::DoNotOptimize(FileEncodings::dataUsingEncoding(text, &encoding, nullptr));
    }
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_EncodeUTF8)->Unit(benchmark::kMillisecond);

void BM_LineBreaksDOSToUnix(benchmark::State &state)
{
    const QString &text = dosText();
    for (auto _ : state)
        benchmark::DoNotOptimize(GeneralUtility::switchLineBreaks(text, GeneralUtility::UnixLineBreak));
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_LineBreaksDOSToUnix)->Unit(benchmark::kMillisecond);

void BM_LineBreaksUnixToDOS(benchmark::State &state)
{
    const QString &text = unixText();
    for (auto _ : state)
        benchmark::DoNotOptimize(GeneralUtility::switchLineBreaks(text, GeneralUtility::DOSLineBreak));
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_LineBreaksUnixToDOS)->Unit(benchmark::kMillisecond);

// The common case on opening: the file already has the view's kind.
void BM_LineBreaksUnchanged(benchmark::State &state)
{
    const QString &text = unixText();
    for (auto _ : state)
        benchmark::DoNotOptimize(GeneralUtility::switchLineBreaks(text, GeneralUtility::UnixLineBreak));
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_LineBreaksUnchanged)->Unit(benchmark::kMillisecond);

} // namespace
