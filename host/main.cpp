#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMessageBox>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "host/ControlLoader.h"
#include "host/MainWindow.h"
#include "host/Options.h"
#include "host/Report.h"
#include "host/ScriptedOperator.h"
#include "host/Signals.h"
#include "platform/paths.h"
#include "platform/qt/QtPlatform.h"

namespace
{

// Exit codes.
constexpr int EXIT_WRONG_USE = 2;
constexpr int EXIT_NO_CONTROL = 3;
constexpr int EXIT_NO_SCREENSHOT = 4;
constexpr int EXIT_SCRIPT_FAILED = 5;
constexpr int EXIT_NOTHING_SHOWN = 6;
constexpr int EXIT_NO_DISPLAY = 7;

void Print(std::FILE* to, const QString& text)
{
    std::fprintf(to, "%s\n", text.toLocal8Bit().constData());
    std::fflush(to);
}

// Told on standard error and, for whoever has no terminal, in a box; a run of limited time waits for nobody.
int Fail(int code, const QString& message, const XOptions& options)
{
    Print(stderr, "watchwall: " + message);
    if (options.m_iSeconds == 0) QMessageBox::critical(nullptr, QStringLiteral("Watchwall"), message);
    return code;
}

// Before there is a display, so that the help needs none; the application object is for the parser alone.
PARSED ReadCommandLine(int argc, char** argv, XOptions& options, QString& message)
{
    const QCoreApplication application(argc, argv);
    return ParseOptions(QCoreApplication::arguments(), options, message);
}

// Writes the report and a line for each channel; false when a channel that was asked for has shown nothing.
bool Tell(const CMainWindow& window, const XOptions& options, const QList<int>& opened)
{
    const auto channels = window.GetChannels();
    for (const XChannelReport& channel : channels)
        Print(stdout, DescribeChannel(channel));
    if (!options.m_strReport.isEmpty() && !WriteReport(options.m_strReport, channels))
        Print(stderr, "watchwall: can't write " + options.m_strReport);
    const bool asked = options.m_bOpenAll || !options.m_Open.isEmpty();
    return !asked || (!opened.isEmpty() && HaveAllShown(channels, opened));
}

int Run(const XOptions& options, const QElapsedTimer& since_start)
{
    QString message;
    auto control = LoadControl(options.m_strModule, message);
    if (!control) return Fail(EXIT_NO_CONTROL, message, options);

    auto window = std::make_unique<CMainWindow>();
    if (!window->Embed(std::move(control)))
        return Fail(EXIT_NO_CONTROL,
                    QStringLiteral("The control could not make its window; set WATCHWALL_DEBUG=1 to see why."),
                    options);
    if (qEnvironmentVariableIsSet("WATCHWALL_START_TIME"))
        window->SetShownHandler(
            [&since_start] { Print(stdout, QString("shown after %1 ms").arg(since_start.elapsed())); });
    OnEndRequested([&window] { window->close(); });
    int code = 0;
    QList<int> opened;
    // Before any end, also one that the user or a signal asks for.
    window->SetClosingHandler([&] {
        if (!Tell(*window, options, opened)) code = std::max(code, EXIT_NOTHING_SHOWN);
        if (options.m_strScreenshot.isEmpty() || window->SaveScreenshot(options.m_strScreenshot)) return;
        Print(stderr, "watchwall: can't write " + options.m_strScreenshot);
        code = EXIT_NO_SCREENSHOT;
    });
    if (options.m_iSeconds > 0)
        QTimer::singleShot(options.m_iSeconds * 1000, window.get(), [&window] { window->close(); });
    CScriptedOperator scripted(options, *window->GetControlWidget(), nullptr);
    QObject::connect(&scripted, &CScriptedOperator::Finished, window.get(), [&](const QString& fault) {
        opened = scripted.GetOpened();
        if (fault.isEmpty()) return;
        Print(stderr, "watchwall: " + fault);
        code = EXIT_SCRIPT_FAILED;
        if (options.m_iSeconds > 0) window->close();
    });
    if (options.IsScripted()) scripted.Start();
    window->show();
    QApplication::exec();
    window.reset();
    return code;
}

}  // namespace

int main(int argc, char** argv)
{
    QElapsedTimer since_start;
    since_start.start();
    XOptions options;
    QString message;
    switch (ReadCommandLine(argc, argv, options, message)) {
        case PARSED::Help:
        case PARSED::Version:
            Print(stdout, message);
            return 0;
        case PARSED::Wrong:
            Print(stderr, "watchwall: " + message + "\nwatchwall --help shows what it takes.");
            return EXIT_WRONG_USE;
        case PARSED::Run:
            break;
    }
    if (!options.m_strHome.isEmpty()) {
        const QFileInfo home(options.m_strHome);
        if (!home.isDir()) {
            Print(stderr, "watchwall: --home: " + options.m_strHome + " is not a folder");
            return EXIT_WRONG_USE;
        }
        // Host and module each have their own copy of the platform layer; the environment reaches both.
        qputenv("WATCHWALL_HOME", home.absoluteFilePath().toLocal8Bit());
    }
    // Cells are X windows: under Wayland they come through its X server.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    // The toolkit would end the process by a signal.
    if (qgetenv("QT_QPA_PLATFORM") == "xcb" && qEnvironmentVariableIsEmpty("DISPLAY")) {
        Print(stderr, "watchwall: there is no display. Start it in a desktop session or under xvfb-run.");
        return EXIT_NO_DISPLAY;
    }
    const QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("watchwall"));
    QApplication::setApplicationDisplayName(QStringLiteral("Watchwall"));
    if (!StartQtPlatform()) {
        Print(stderr, "watchwall: no display");
        return EXIT_NO_DISPLAY;
    }
    const int code = Run(options, since_start);
    StopQtPlatform();
    return code;
}
