#include "host/Report.h"

#include <sys/resource.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <iterator>

#include "inc/EscapeControls.h"

namespace
{

double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

qint64 Number(std::uint64_t value)
{
    return static_cast<qint64>(value);
}

}  // namespace

QByteArray MakeReport(const std::vector<ChannelReport>& channels, const std::vector<StationReport>& stations)
{
    QJsonArray list;
    for (const ChannelReport& channel : channels) {
        list.append(QJsonObject{{"channel", channel.channel + 1},
                                {"name", QString::fromStdString(EscapeControls(channel.name))},
                                {"width", channel.width},
                                {"height", channel.height},
                                {"decoded", Number(channel.decoded)},
                                {"shown", Number(channel.shown)},
                                {"skipped", Number(channel.skipped)},
                                {"without_cell", Number(channel.withoutCell)},
                                {"not_convertible", Number(channel.notConvertible)},
                                {"refused", Number(channel.refused)},
                                {"bytes", Number(channel.bytes)},
                                {"first_picture_ms", static_cast<qint64>(channel.firstPictureMs)}});
    }
    QJsonArray stationList;
    for (const StationReport& station : stations)
        stationList.append(QJsonObject{{"name", QString::fromStdString(EscapeControls(station.name))},
                                       {"dropped", Number(station.dropped)}});
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const QJsonObject process{{"cpu_seconds", Seconds(usage.ru_utime) + Seconds(usage.ru_stime)},
                              {"peak_memory_kib", static_cast<qint64>(usage.ru_maxrss)}};
    return QJsonDocument(QJsonObject{{"channels", list}, {"stations", stationList}, {"process", process}})
        .toJson();
}

QString DescribeChannel(const ChannelReport& channel)
{
    // One substitution for each part: a name may hold place marks itself.
    return QStringLiteral("channel %1 \"%2\": %3x%4, ")
               .arg(QString::number(channel.channel + 1), QString::fromStdString(EscapeControls(channel.name)),
                    QString::number(channel.width), QString::number(channel.height)) +
           QStringLiteral(
               "%1 pictures decoded, %2 shown, %3 without a cell, %4 not convertible, %5 refused, "
               "%6 skipped, first after %7 ms")
               .arg(QString::number(channel.decoded), QString::number(channel.shown),
                    QString::number(channel.withoutCell), QString::number(channel.notConvertible),
                    QString::number(channel.refused), QString::number(channel.skipped),
                    QString::number(channel.firstPictureMs));
}

QString DescribeLosses(const StationReport& station)
{
    return QStringLiteral("station \"%1\": %2 datagrams and messages dropped, for lack of room or their size")
        .arg(QString::fromStdString(EscapeControls(station.name)), QString::number(station.dropped));
}

QList<int> FindUnshown(const std::vector<ChannelReport>& channels, const QList<int>& asked)
{
    QList<int> unshown;
    std::copy_if(asked.begin(), asked.end(), std::back_inserter(unshown), [&channels](int number) {
        return std::none_of(channels.begin(), channels.end(), [number](const ChannelReport& channel) {
            return channel.channel + 1 == number && channel.shown > 0;
        });
    });
    return unshown;
}
