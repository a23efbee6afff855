#pragma once

#include <QList>
#include <QString>
#include <vector>

#include "inc/host/ControlReport.h"

/// Writes the report: for each channel what it did, and the process's totals. False when the file can't be
/// written.
bool WriteReport(const QString& path, const std::vector<XChannelReport>& channels);

/// One line for a person about a channel.
QString DescribeChannel(const XChannelReport& channel);

/// Those of `asked` (numbers from 1) that have shown no picture.
QList<int> FindUnshown(const std::vector<XChannelReport>& channels, const QList<int>& asked);
