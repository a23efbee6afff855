#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMessageBox>
#include <QScopeGuard>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <utility>

#include "host/ControlLoader.h"
#include "host/DisplayWatch.h"
#include "host/LargeBlocks.h"
#include "host/MainWindow.h"
#include "host/Options.h"
#include "host/OutputFile.h"
#include "host/Report.h"
#include "host/ScriptedOperator.h"
#include "host/Signals.h"
#include "host/Streams.h"
#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"

namespace
{

// Exit codes.
constexpr int EXIT_WRONG_USE = 2;
constexpr int EXIT_NO_CONTROL = 3;
constexpr int EXIT_NOT_WRITTEN = 4;
constexpr int EXIT_SCRIPT_FAILED = 5;
constexpr int EXIT_NOTHING_SHOWN = 6;
constexpr int EXIT_NO_DISPLAY = 7;

constexpr int MS_A_SECOND = 1000;

void Print(std::FILE* to, const QString& text)
{
    std::fprintf(to, "%s\n", text.toLocal8Bit().constData());
    std::fflush(to);
}

// Reported on standard error and, for a user without a terminal, in a box; a run without a user opens none.
int Fail(int code, const QString& message, const Options& options)
{
    Print(stderr, "watchwall: " + message);
    if (!options.IsUnattended()) QMessageBox::critical(nullptr, QStringLiteral("Watchwall"), message);
    return code;
}

// Before there is a display, so that the help needs none; the application object is for the parser alone.
EParsed ReadCommandLine(int argc, char** argv, Options& options, QString& message)
{
    const QCoreApplication application(argc, argv);
    return ParseOptions(QCoreApplication::arguments(), options, message);
}

// Needs no display.
int Register(EParsed parsed, int argc, char** argv, const Options& options)
{
    const QCoreApplication application(argc, argv);  // by which the program's own module is found
    QString message;
    const bool done = parsed == EParsed::Register ? RegisterControl(options.module, message)
                                                  : UnregisterControl(options.module, message);
    Print(done ? stdout : stderr, "watchwall: " + message);
    return done ? 0 : EXIT_NO_CONTROL;
}

// Keeps the exit code of the first fault; each is reported.
class CFaults
{
  public:
    void Tell(int code, const QString& message)
    {
        Print(stderr, "watchwall: " + message);
        if (m_iCode == 0) m_iCode = code;
    }
    int GetCode() const { return m_iCode; }

  private:
    int m_iCode = 0;
};

// The control's messages in a run without a user: a line on standard error, and the end of a script.
class CMessageLines final : public IMessageSink
{
  public:
    virtual ~CMessageLines() = default;
    void SetScript(CScriptedOperator* script) { m_pScript = script; }
    void OnMessage(const std::string&, const std::string& text) override
    {
        const QString message = QString::fromStdString(text);
        if (m_pScript == nullptr || !m_pScript->OnMessage(message)) Print(stderr, "watchwall: " + message);
    }

  private:
    CScriptedOperator* m_pScript = nullptr;
};

void WriteOutput(const QString& path, const QByteArray& content, CFaults& faults)
{
    QString reason = QStringLiteral("there is nothing to write");
    if (content.isEmpty() || !WriteWholeFile(path, content, reason))
        faults.Tell(EXIT_NOT_WRITTEN, QStringLiteral("can't write %1: %2").arg(path, reason));
}

// A run that could not leave what it is made for does not begin.
bool CanWriteOutputs(const Options& options)
{
    for (const QString& path : {options.report, options.screenshot}) {
        QString reason;
        if (path.isEmpty() || CanWriteFile(path, reason)) continue;
        Print(stderr, QStringLiteral("watchwall: can't write %1: %2").arg(path, reason));
        return false;
    }
    return true;
}

// Prints a line for each channel and for what was lost, says what is wrong, and writes the report. Draws
// nothing: the display may be gone.
void Tell(const CMainWindow& window, const Options& options, const CScriptedOperator& scripted, CFaults& faults)
{
    const auto channels = window.GetChannels();
    for (const ChannelReport& channel : channels)
        Print(stdout, DescribeChannel(channel));
    const auto stations = window.GetStations();
    for (const StationReport& station : stations)
        if (station.dropped > 0) Print(stdout, DescribeLosses(station));
    if (!scripted.GetPresentStep().isEmpty())
        faults.Tell(EXIT_SCRIPT_FAILED, "the end came before it could " + scripted.GetPresentStep());
    if (options.openAll && channels.empty())
        faults.Tell(EXIT_NOTHING_SHOWN, QStringLiteral("there was no channel to show"));
    for (const int channel : FindUnshown(channels, options.openAll ? scripted.GetOpened() : options.open))
        faults.Tell(EXIT_NOTHING_SHOWN, QStringLiteral("channel %1 has shown no picture").arg(channel));
    if (!options.report.isEmpty()) WriteOutput(options.report, MakeReport(channels, stations), faults);
}

// What is still reported when the display goes; empty before the start and after the end.
std::function<void()> g_LastWords;

// The toolkit calls exit() from within the event loop when the display goes. Link threads still run then, so
// nothing is taken down: the process ends here.
void EndWithoutDisplay()
{
    if (!g_LastWords) return;
    Print(stderr, QStringLiteral("watchwall: the display is gone"));
    std::exchange(g_LastWords, {})();
    std::_Exit(EXIT_NO_DISPLAY);
}

int Run(const Options& options, const QElapsedTimer& sinceStart)
{
    CFaults faults;
    const QScopeGuard end([] { g_LastWords = {}; });
    g_LastWords = [&] {
        if (!options.report.isEmpty()) WriteOutput(options.report, MakeReport({}, {}), faults);
    };
    std::atexit(EndWithoutDisplay);
    QString message;
    auto control = LoadControl(options.module, message);
    if (!control) return Fail(EXIT_NO_CONTROL, message, options);
    if (!message.isEmpty()) Print(stderr, "watchwall: " + message);

    CMessageLines lines;
    auto window = std::make_unique<CMainWindow>();
    if (!window->Embed(std::move(control), options.profile, options.IsUnattended() ? &lines : nullptr))
        return Fail(EXIT_NO_CONTROL,
                    QStringLiteral("The control could not make its window; set WATCHWALL_DEBUG=1 to see why."),
                    options);
    if (qEnvironmentVariableIsSet("WATCHWALL_START_TIME"))
        window->SetShownHandler(
            [&sinceStart] { Print(stdout, QString("shown after %1 ms").arg(sinceStart.elapsed())); });
    OnEndRequested([&window] { window->close(); });
    CScriptedOperator scripted(options, *window->GetControlWidget(), nullptr);
    lines.SetScript(&scripted);
    bool told = false;
    const auto tell = [&] {
        if (!std::exchange(told, true)) Tell(*window, options, scripted, faults);
    };
    // Before any end, also one that the user or a signal asks for.
    window->SetClosingHandler([&] {
        tell();
        scripted.FoldBack();
        if (!options.screenshot.isEmpty()) WriteOutput(options.screenshot, window->TakeScreenshot(), faults);
        QCoreApplication::exit();  // also while the wall, in full screen, has a window of its own
    });
    if (options.seconds > 0)
        QTimer::singleShot(options.seconds * MS_A_SECOND, window.get(), [&window] { window->close(); });
    QObject::connect(&scripted, &CScriptedOperator::Finished, window.get(), [&](const QString& fault) {
        if (fault.isEmpty()) return;
        faults.Tell(EXIT_SCRIPT_FAILED, fault);
        if (options.seconds > 0) window->close();
    });
    if (options.IsScripted()) scripted.Start();
    window->show();
    std::atexit(EndWithoutDisplay);  // after the control's own entries, so that it is called before them
    g_LastWords = tell;
    QApplication::exec();
    told = true;  // or nothing asked for it
    lines.SetScript(nullptr);
    window.reset();
    return faults.GetCode();
}

}  // namespace

int main(int argc, char** argv)
{
    KeepStreams();
    GiveLargeBlocksBack();
    QElapsedTimer sinceStart;
    sinceStart.start();
    Options options;
    QString message;
    const EParsed parsed = ReadCommandLine(argc, argv, options, message);
    switch (parsed) {
        case EParsed::Help:
        case EParsed::Version:
            Print(stdout, message);
            return 0;
        case EParsed::Wrong:
            Print(stderr, "watchwall: " + message + "\nwatchwall --help shows what it takes.");
            return EXIT_WRONG_USE;
        case EParsed::Register:
        case EParsed::Unregister:
        case EParsed::Run:
            break;
    }
    if (!options.home.isEmpty()) {
        const QFileInfo home(options.home);
        if (!home.isDir()) {
            Print(stderr, "watchwall: --home: " + options.home + " is not a folder");
            return EXIT_WRONG_USE;
        }
        // Host and module each have their own copy of the platform layer; the environment reaches both.
        qputenv("WATCHWALL_HOME", home.absoluteFilePath().toLocal8Bit());
    }
    if (parsed != EParsed::Run) return Register(parsed, argc, argv, options);
    if (!CanWriteOutputs(options)) return EXIT_NOT_WRITTEN;
    // Cells are X windows: under Wayland they come through its X server.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    // Outlives the toolkit, which waits for the display to its end.
    CDisplayWatch watch([&options, &sinceStart] {
        const bool over = options.seconds > 0 && sinceStart.elapsed() > options.seconds * MS_A_SECOND;
        return over || IsEndRequested();
    });
    // The toolkit would end the process by a signal.
    if (qgetenv("QT_QPA_PLATFORM").startsWith("xcb") && !watch.HasDisplay()) {
        const QString name = qEnvironmentVariable("DISPLAY");
        const QString fault = name.isEmpty() ? "there is no display" : "can't connect to the display " + name;
        Print(stderr, "watchwall: " + fault + ". Start it in a desktop session or under xvfb-run.");
        return EXIT_NO_DISPLAY;
    }
    const QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("watchwall"));
    QApplication::setApplicationDisplayName(QStringLiteral("Watchwall"));
    if (!StartQtPlatform()) {
        Print(stderr, "watchwall: no display");
        return EXIT_NO_DISPLAY;
    }
    const int code = Run(options, sinceStart);
    StopQtPlatform();
    return watch.HasBroken() ? EXIT_NO_DISPLAY : code;
}
