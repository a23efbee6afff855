#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <vector>

#include "inc/host/ControlReport.h"

/// The report as JSON: for each channel what it did, for each station what was lost, and the process's totals.
QByteArray MakeReport(const std::vector<ChannelReport>& channels, const std::vector<StationReport>& stations);

/// One line for a person about a channel. Names come from the network: their control characters are spelt out.
QString DescribeChannel(const ChannelReport& channel);

/// One line for a person about what a station lost.
QString DescribeLosses(const StationReport& station);

/// Those of `asked` (numbers from 1) that have shown no picture.
QList<int> FindUnshown(const std::vector<ChannelReport>& channels, const QList<int>& asked);
