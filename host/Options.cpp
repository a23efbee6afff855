#include "host/Options.h"

#include <QCommandLineParser>

namespace
{

constexpr const char* VERSION = "0.1.0";
constexpr int LONGEST_RUN = 24 * 60 * 60;

}  // namespace

PARSED ParseOptions(const QStringList& arguments, XOptions& options, QString& message)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Embeds the control activex.ocx, the client side of a video surveillance deployment.");
    const QCommandLineOption help({"h", "help"}, "Shows this text.");
    const QCommandLineOption version({"v", "version"}, "Shows the version.");
    const QCommandLineOption home("home", "Module directory (config, dvr.db) for this run.", "DIR");
    const QCommandLineOption module("module", "Module to register when the control isn't registered yet.",
                                    "FILE");
    const QCommandLineOption seconds("seconds", "Closes the window after S seconds.", "S");
    const QCommandLineOption screenshot(
        "screenshot", "Writes the window as it is on the screen, just before the end.", "FILE.png");
    parser.addOptions({help, version, home, module, seconds, screenshot});
    if (!parser.parse(arguments)) {
        message = parser.errorText();
        return PARSED::Wrong;
    }
    if (parser.isSet(help)) {
        message = parser.helpText();
        return PARSED::Help;
    }
    if (parser.isSet(version)) {
        message = QStringLiteral("watchwall %1").arg(VERSION);
        return PARSED::Version;
    }
    if (!parser.positionalArguments().isEmpty()) {
        message = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
        return PARSED::Wrong;
    }
    options.m_strHome = parser.value(home);
    options.m_strModule = parser.value(module);
    options.m_strScreenshot = parser.value(screenshot);
    if (parser.isSet(seconds)) {
        bool number = false;
        options.m_iSeconds = parser.value(seconds).toInt(&number);
        if (!number || options.m_iSeconds <= 0 || options.m_iSeconds > LONGEST_RUN) {
            message = QStringLiteral("--seconds takes a number from 1 to %1, not '%2'")
                          .arg(LONGEST_RUN)
                          .arg(parser.value(seconds));
            return PARSED::Wrong;
        }
    }
    return PARSED::Run;
}
