#include "host/Options.h"

#include <QCommandLineParser>

namespace
{

constexpr int LONGEST_RUN = 24 * 60 * 60;

bool ParseChannels(const QString& text, XOptions& options)
{
    options.m_bOpenAll = text == QLatin1String("all");
    if (options.m_bOpenAll) return true;
    for (const QString& number : text.split(',')) {
        bool valid = false;
        const int channel = number.toInt(&valid);
        if (!valid || channel < 1 || options.m_Open.contains(channel)) return false;
        options.m_Open << channel;
    }
    return true;
}

}  // namespace

PARSED ParseOptions(const QStringList& arguments, XOptions& options, QString& message)
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
    const QCommandLineOption register_("register",
                                       "Registers the module for all programs of the user, and ends.");
    const QCommandLineOption unregister("unregister", "Takes the module's registration out, and ends.");
    const QCommandLineOption seconds("seconds", "Closes the window after S seconds.", "S");
    const QCommandLineOption screenshot(
        "screenshot", "Writes the window as it is on the screen, just before the end.", "FILE.png");
    const QCommandLineOption logon("logon", "Logs on to the recorder of this net id.", "NETID");
    const QCommandLineOption open("open", "Opens these channels after the logon, counted from 1, or all.",
                                  "all|N,N,...");
    const QCommandLineOption layout("layout", "Chooses the arrangement of that many cells.", "CELLS");
    const QCommandLineOption full_screen("full-screen", "Shows the wall in full screen.");
    const QCommandLineOption report("report", "Writes what the channels did, as JSON, at the end.",
                                    "FILE.json");
    parser.addOptions({help, version, home, module, profile, register_, unregister, logon, open, layout,
                       full_screen, seconds, screenshot, report});
    if (!parser.parse(arguments)) {
        message = parser.errorText();
        return PARSED::Wrong;
    }
    if (parser.isSet(help)) {
        message = parser.helpText();
        return PARSED::Help;
    }
    if (parser.isSet(version)) {
        message = QStringLiteral("watchwall %1").arg(QLatin1String(WATCHWALL_VERSION));
        return PARSED::Version;
    }
    if (!parser.positionalArguments().isEmpty()) {
        message = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
        return PARSED::Wrong;
    }
    for (const QCommandLineOption& named : {home, module, logon, screenshot, report}) {
        if (!parser.isSet(named) || !parser.value(named).isEmpty()) continue;
        message = QStringLiteral("--%1 needs a name").arg(named.names().constFirst());
        return PARSED::Wrong;
    }
    options.m_strHome = parser.value(home);
    options.m_strModule = parser.value(module);
    options.m_strScreenshot = parser.value(screenshot);
    options.m_strLogon = parser.value(logon);
    options.m_strReport = parser.value(report);
    options.m_bFullScreen = parser.isSet(full_screen);
    if (parser.isSet(profile)) options.m_strProfile = parser.value(profile);
    if (options.m_strProfile != QLatin1String("classic") && options.m_strProfile != QLatin1String("operator")) {
        message = QStringLiteral("--profile takes classic or operator, not '%1'").arg(options.m_strProfile);
        return PARSED::Wrong;
    }
    if (parser.isSet(open) && !ParseChannels(parser.value(open), options)) {
        message = QStringLiteral("--open takes 'all' or channel numbers from 1, as in 1,3,4, not '%1'")
                      .arg(parser.value(open));
        return PARSED::Wrong;
    }
    if (parser.isSet(open) && options.m_strLogon.isEmpty()) {
        message = QStringLiteral("--open needs --logon");
        return PARSED::Wrong;
    }
    if (parser.isSet(layout)) {
        options.m_iLayout = parser.value(layout).toInt();
        if (options.m_iLayout <= 0) {
            message = QStringLiteral("--layout takes a number of cells, not '%1'").arg(parser.value(layout));
            return PARSED::Wrong;
        }
    }
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
    if (parser.isSet(register_) && parser.isSet(unregister)) {
        message = QStringLiteral("--register and --unregister are the opposite of each other");
        return PARSED::Wrong;
    }
    if (parser.isSet(register_)) return PARSED::Register;
    return parser.isSet(unregister) ? PARSED::Unregister : PARSED::Run;
}
