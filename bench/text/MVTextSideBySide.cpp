// Opens a 100 MB source file and a 5 MB single-line file in MVTextView and in
// QPlainTextEdit, and reports load time, memory, typing and painting times.
// Without arguments it writes the sample files to a temporary directory and
// runs every case in a child process; "--case NAME FILE" runs one case.
#include "../ProcessMemory.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QProcess>
#include <QScrollBar>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <QTextBlock>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <vector>

namespace {

// CPU time of this thread: unlike wall time it does not count the time the
// scheduler gave to other processes on a busy machine.
double threadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

double ms(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

struct Samples
{
    std::vector<double> values;
    void add(double v) { values.push_back(v); }
    double quantile(double q)
    {
        std::sort(values.begin(), values.end());
        return values.empty() ? 0 : values[std::min<size_t>(values.size() - 1, size_t(q * double(values.size())))];
    }
};

void writeSamples(const QString &dir)
{
    static const char *lines[] = {
        "<?php\n",
        "function render_item($item, $options = array()) {\n",
        "    $title = htmlspecialchars($item['title'], ENT_QUOTES);\n",
        "    echo \"<li class=\\\"item\\\">\" . $title . \"</li>\";\n",
        "    // a comment with some words in it, and a number: 42\n",
        "}\n",
        "\n",
    };
    QFile big(dir + QStringLiteral("/big.php"));
    big.open(QIODevice::WriteOnly);
    QByteArray chunk;
    qint64 written = 0;
    int i = 0;
    while (written < 100 * 1000 * 1000) {
        chunk.clear();
        while (chunk.size() < (1 << 20))
            chunk += lines[i++ % 7];
        big.write(chunk);
        written += chunk.size();
    }
    QFile line(dir + QStringLiteral("/line.js"));
    line.open(QIODevice::WriteOnly);
    QByteArray minified;
    while (minified.size() < 5 * 1000 * 1000)
        minified += "var a=function(b){return b*2+1};if(a(3)>4){c.push(\"x\")}";
    minified += '\n';
    line.write(minified);
}

// Reads and decodes the file in pieces into a buffer: the text is never held
// twice.
MVTextBuffer loadBuffer(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QStringDecoder decoder(QStringDecoder::Utf8);
    MVTextBuffer buffer;
    QByteArray bytes;
    while (!(bytes = file.read(4 << 20)).isEmpty()) {
        const QString piece = decoder.decode(bytes);
        buffer.append(piece);
    }
    return buffer;
}

void sendKey(QWidget *target, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier, const QString &text = QString())
{
    QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
    QApplication::sendEvent(target, &press);
}

int runCase(const QString &name, const QString &path)
{
    const qint64 baseline = processStatusKilobytes("VmRSS:");
    const qint64 fileSize = QFileInfo(path).size();
    QElapsedTimer timer;
    timer.start();
    timespec cpuStart{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpuStart);
    const bool ours = name.startsWith(QStringLiteral("morvel"));
    const bool longLine = name.endsWith(QStringLiteral("line"));

    MVTextView *view = nullptr;
    QPlainTextEdit *edit = nullptr;
    QAbstractScrollArea *area = nullptr;
    if (ours) {
        view = new MVTextView;
        view->setText(loadBuffer(path));
        area = view;
    } else {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        const QString text = QString::fromUtf8(file.readAll());
        file.close();
        edit = new QPlainTextEdit;
        edit->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        edit->setPlainText(text);
        area = edit;
    }
    area->resize(1000, 800);
    area->show();
    area->viewport()->repaint();
    QApplication::processEvents();
    const double openMs = ms(timer);
    timespec cpuEnd{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpuEnd);
    const double openCpuMs = double(cpuEnd.tv_sec - cpuStart.tv_sec) * 1e3 + double(cpuEnd.tv_nsec - cpuStart.tv_nsec) / 1e6;
    const qint64 rss = processStatusKilobytes("VmRSS:") - baseline;
    const qint64 peak = processStatusKilobytes("VmHWM:");

    std::printf("%-14s open+first paint %9.1f ms (CPU %9.1f ms)   memory %7.1f MB (%.2fx file)   peak RSS %7.1f MB\n",
                qPrintable(name), openMs, openCpuMs, rss / 1024.0, rss * 1024.0 / double(fileSize), peak / 1024.0);

    QWidget *keys = ours ? static_cast<QWidget *>(view) : static_cast<QWidget *>(edit);
    keys->setFocus();
    if (!longLine) {
        // Typing in the middle: editor-side work per character, then a paint.
        Samples typing;
        Samples typingCpu;
        Samples paint;
        Samples paintCpu;
        if (ours) {
            const qsizetype middle = view->textStorage()->buffer().lineStart(view->textStorage()->buffer().lineCount() / 2);
            view->setSelectedRange({middle, 0});
            view->viewport()->repaint();
        } else {
            QTextCursor cursor(edit->document()->findBlockByNumber(edit->document()->blockCount() / 2));
            edit->setTextCursor(cursor);
            edit->viewport()->repaint();
        }
        for (int i = 0; i < 300; ++i) {
            timer.restart();
            double cpu = threadCpuMs();
            sendKey(keys, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
            typing.add(ms(timer));
            typingCpu.add(threadCpuMs() - cpu);
            timer.restart();
            cpu = threadCpuMs();
            area->viewport()->repaint();
            paint.add(ms(timer));
            paintCpu.add(threadCpuMs() - cpu);
            if (i % 50 == 49)
                QApplication::processEvents();
        }
        std::printf("%-14s type a character: median %.3f ms, p99 %.3f ms (CPU: median %.3f, p99 %.3f);  repaint after it: "
                    "median %.2f ms, p99 %.2f ms (CPU: median %.2f, p99 %.2f)\n",
                    qPrintable(name), typing.quantile(0.5), typing.quantile(0.99), typingCpu.quantile(0.5), typingCpu.quantile(0.99),
                    paint.quantile(0.5), paint.quantile(0.99), paintCpu.quantile(0.5), paintCpu.quantile(0.99));
        // A screen painted from scratch (nothing laid out yet) while scrolling.
        Samples scroll;
        Samples scrollCpu;
        QScrollBar *bar = area->verticalScrollBar();
        for (int i = 0; i < 50; ++i) {
            bar->setValue(bar->maximum() / 50 * i);
            timer.restart();
            const double cpu = threadCpuMs();
            area->viewport()->repaint();
            scroll.add(ms(timer));
            scrollCpu.add(threadCpuMs() - cpu);
        }
        std::printf("%-14s paint a fresh screen while scrolling: median %.2f ms, p99 %.2f ms (CPU: median %.2f, p99 %.2f)\n",
                    qPrintable(name), scroll.quantile(0.5), scroll.quantile(0.99), scrollCpu.quantile(0.5), scrollCpu.quantile(0.99));
    } else {
        double cpu = threadCpuMs();
        timer.restart();
        sendKey(keys, Qt::Key_End);
        const double endMs = ms(timer);
        const double endCpu = threadCpuMs() - cpu;
        cpu = threadCpuMs();
        timer.restart();
        area->viewport()->repaint();
        const double endPaintMs = ms(timer);
        const double endPaintCpu = threadCpuMs() - cpu;
        Samples typing;
        Samples paint;
        Samples typingCpu;
        Samples paintCpu;
        // QPlainTextEdit takes seconds per key here: a few samples suffice.
        const int keystrokes = ours ? 50 : 5;
        for (int i = 0; i < keystrokes; ++i) {
            timer.restart();
            cpu = threadCpuMs();
            sendKey(keys, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
            typing.add(ms(timer));
            typingCpu.add(threadCpuMs() - cpu);
            timer.restart();
            cpu = threadCpuMs();
            area->viewport()->repaint();
            paint.add(ms(timer));
            paintCpu.add(threadCpuMs() - cpu);
        }
        timer.restart();
        cpu = threadCpuMs();
        sendKey(keys, Qt::Key_Home);
        area->viewport()->repaint();
        const double homeMs = ms(timer);
        const double homeCpu = threadCpuMs() - cpu;
        std::printf("%-14s move to end %.2f ms, paint there %.2f ms; type: median %.2f ms, p99 %.2f ms; repaint: median %.2f ms; "
                    "home+paint %.2f ms\n",
                    qPrintable(name), endMs, endPaintMs, typing.quantile(0.5), typing.quantile(0.99), paint.quantile(0.5), homeMs);
        std::printf("%-14s CPU: move to end %.2f ms, paint there %.2f ms; type: median %.2f ms, max %.2f ms; repaint: median %.2f ms, "
                    "max %.2f ms; home+paint %.2f ms\n",
                    qPrintable(name), endCpu, endPaintCpu, typingCpu.quantile(0.5), typingCpu.quantile(1), paintCpu.quantile(0.5),
                    paintCpu.quantile(1), homeCpu);
    }
    std::fflush(stdout);
    delete area;
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() >= 4 && arguments.at(1) == QStringLiteral("--case"))
        return runCase(arguments.at(2), arguments.at(3));

    QTemporaryDir dir;
    std::printf("writing sample files to %s\n", qPrintable(dir.path()));
    std::fflush(stdout);
    writeSamples(dir.path());
    const QStringList cases = arguments.contains(QStringLiteral("--ours-only"))
                                  ? QStringList{QStringLiteral("morvel"), QStringLiteral("morvel-line")}
                                  : QStringList{QStringLiteral("morvel"), QStringLiteral("plaintext"), QStringLiteral("morvel-line"),
                                                QStringLiteral("plaintext-line")};
    for (const QString &name : cases) {
        const QString file = dir.path() + (name.endsWith(QStringLiteral("line")) ? QStringLiteral("/line.js") : QStringLiteral("/big.php"));
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--case"), name, file});
        child.waitForFinished(-1);
    }
    return 0;
}
