#include "host/Options.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

namespace
{

constexpr int LONGEST_RUN = 24 * 60 * 60;

bool ParseChannels(const QString& text, Options& options)
{
    options.openAll = text == QLatin1String("all");
    if (options.openAll) return true;
    for (const QString& number : text.split(',')) {
        bool valid = false;
        const int channel = number.toInt(&valid);
        if (!valid || channel < 1 || options.open.contains(channel)) return false;
        options.open << channel;
    }
    return true;
}

// The later one would take the earlier one's place. A device, or a pipe, takes both.
bool AreOneFile(const QString& one, const QString& other)
{
    const QFileInfo info(one);
    if (one.isEmpty() || other.isEmpty() || (info.exists() && !info.isFile())) return false;
    return QDir::cleanPath(info.absoluteFilePath()) == QDir::cleanPath(QFileInfo(other).absoluteFilePath());
}

}  // namespace

EParsed ParseOptions(const QStringList& arguments, Options& options, QString& message)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Embeds the control activex.ocx, the client side of a video surveillance deployment.");
    const QCommandLineOption help({"h", "help"}, "Shows this text.");
    const QCommandLineOption version({"v", "version"}, "Shows the version.");
    const QCommandLineOption home("home", "Module directory (config, dvr.db) for this run.", "DIR");
    const QCommandLineOption module("module", "Module to use in place of the program's own.", "FILE");
    const QCommandLineOption profile(
        "profile",
        "What the control is asked for: operator (the default) with what is newer, "
        "or classic. A profile in config/system.ini goes before.",
        "classic|operator");
    const QCommandLineOption registerModule("register",
                                            "Registers the module for all programs of the user, and ends.");
    const QCommandLineOption unregisterModule("unregister", "Takes the module's registration out, and ends.");
    const QCommandLineOption seconds("seconds", "Closes the window after S seconds.", "S");
    const QCommandLineOption screenshot(
        "screenshot", "Writes the window as it is on the screen, just before the end.", "FILE.png");
    const QCommandLineOption logon("logon", "Logs on to the recorder of this net id.", "NETID");
    const QCommandLineOption open("open", "Opens these channels after the logon, counted from 1, or all.",
                                  "all|N,N,...");
    const QCommandLineOption layout("layout", "Chooses the arrangement of that many cells.", "CELLS");
    const QCommandLineOption fullScreen("full-screen", "Shows the wall in full screen.");
    const QCommandLineOption report("report", "Writes what the channels did, as JSON, at the end.",
                                    "FILE.json");
    parser.addOptions({help, version, home, module, profile, registerModule, unregisterModule, logon, open,
                       layout, fullScreen, seconds, screenshot, report});
    if (!parser.parse(arguments)) {
        message = parser.errorText();
        return EParsed::Wrong;
    }
    if (parser.isSet(help)) {
        message = parser.helpText();
        return EParsed::Help;
    }
    if (parser.isSet(version)) {
        message = QStringLiteral("watchwall %1").arg(QLatin1String(WATCHWALL_VERSION));
        return EParsed::Version;
    }
    if (!parser.positionalArguments().isEmpty()) {
        message = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
        return EParsed::Wrong;
    }
    for (const QCommandLineOption& named : {home, module, logon, screenshot, report}) {
        if (!parser.isSet(named) || !parser.value(named).isEmpty()) continue;
        message = QStringLiteral("--%1 needs a name").arg(named.names().constFirst());
        return EParsed::Wrong;
    }
    options.home = parser.value(home);
    options.module = parser.value(module);
    options.screenshot = parser.value(screenshot);
    options.logon = parser.value(logon);
    options.report = parser.value(report);
    if (AreOneFile(options.report, options.screenshot)) {
        message =
            QStringLiteral("--report and --screenshot need two files, not '%1' for both").arg(options.report);
        return EParsed::Wrong;
    }
    options.fullScreen = parser.isSet(fullScreen);
    if (parser.isSet(profile)) options.profile = parser.value(profile);
    if (options.profile != QLatin1String("classic") && options.profile != QLatin1String("operator")) {
        message = QStringLiteral("--profile takes classic or operator, not '%1'").arg(options.profile);
        return EParsed::Wrong;
    }
    if (parser.isSet(open) && !ParseChannels(parser.value(open), options)) {
        message = QStringLiteral("--open takes 'all' or channel numbers from 1, as in 1,3,4, not '%1'")
                      .arg(parser.value(open));
        return EParsed::Wrong;
    }
    if (parser.isSet(open) && options.logon.isEmpty()) {
        message = QStringLiteral("--open needs --logon");
        return EParsed::Wrong;
    }
    if (parser.isSet(layout)) {
        options.layout = parser.value(layout).toInt();
        if (options.layout <= 0) {
            message = QStringLiteral("--layout takes a number of cells, not '%1'").arg(parser.value(layout));
            return EParsed::Wrong;
        }
    }
    if (parser.isSet(seconds)) {
        bool number = false;
        options.seconds = parser.value(seconds).toInt(&number);
        if (!number || options.seconds <= 0 || options.seconds > LONGEST_RUN) {
            message = QStringLiteral("--seconds takes a number from 1 to %1, not '%2'")
                          .arg(LONGEST_RUN)
                          .arg(parser.value(seconds));
            return EParsed::Wrong;
        }
    }
    if (parser.isSet(registerModule) && parser.isSet(unregisterModule)) {
        message = QStringLiteral("--register and --unregister are the opposite of each other");
        return EParsed::Wrong;
    }
    if (parser.isSet(registerModule)) return EParsed::Register;
    return parser.isSet(unregisterModule) ? EParsed::Unregister : EParsed::Run;
}
