#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <atomic>
#include <chrono>
#include <thread>

#include "host/OutputFile.h"
#include "host/Report.h"
#include "tests/support/file_limit.h"
#include "tests/support/interruption.h"
#include "tests/support/thread_state.h"

namespace
{

ChannelReport Named(const char* name)
{
    ChannelReport channel;
    channel.name = name;
    channel.channel = 6;
    channel.width = 352;
    channel.height = 288;
    channel.decoded = 5;
    channel.shown = 4;
    return channel;
}

TEST(ReportTest, ANameWithPlaceMarksStandsAsItIs)
{
    EXPECT_EQ(DescribeChannel(Named("%1 %2 %n %L3 50%")).toStdString().substr(0, 42),
              "channel 7 \"%1 %2 %n %L3 50%\": 352x288, 5 p");
}

TEST(ReportTest, PicturesThatNobodySawStandApart)
{
    ChannelReport channel = Named("gate");
    channel.decoded = 50;
    channel.withoutCell = 20;
    channel.notConvertible = 21;
    channel.refused = 2;
    channel.skipped = 3;
    EXPECT_EQ(
        DescribeChannel(channel).toStdString(),
        "channel 7 \"gate\": 352x288, 50 pictures decoded, 4 shown, 20 without a cell, 21 not convertible, "
        "2 refused, 3 skipped, first after -1 ms");
    const std::string report = MakeReport({channel}, {}).toStdString();
    for (const char* part : {"\"decoded\": 50", "\"shown\": 4", "\"without_cell\": 20",
                             "\"not_convertible\": 21", "\"refused\": 2", "\"skipped\": 3"})
        EXPECT_NE(report.find(part), std::string::npos) << part;
    EXPECT_TRUE(FindUnshown({channel}, {7}).isEmpty());
    channel.shown = 0;
    EXPECT_EQ(FindUnshown({channel}, {7, 8}), (QList<int>{7, 8}));
}

TEST(ReportTest, WhatAStationLostIsReported)
{
    const StationReport station{"10%1\n", 35};
    EXPECT_EQ(DescribeLosses(station).toStdString(),
              "station \"10%1\\x0A\": 35 datagrams and messages dropped, for lack of room or their size");
    const auto report = QJsonDocument::fromJson(MakeReport({}, {station})).object();
    EXPECT_EQ(report["stations"].toArray(), (QJsonArray{QJsonObject{{"name", "10%1\\x0A"}, {"dropped", 35}}}));
}

TEST(ReportTest, ControlCharactersOfANameAreSpeltOut)
{
    const std::string line = DescribeChannel(Named("gate\x1B[2J\a\n\x7F\xC2\x9B")).toStdString();
    EXPECT_EQ(line.find("\"gate\\x1B[2J\\x07\\x0A\\x7F\\xC2\\x9B\":"), 10U) << line;
}

QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(OutputFileTest, FileAppearsWholeUnderItsNameAlone)
{
    const QTemporaryDir folder;
    QString reason;
    EXPECT_TRUE(CanWriteFile(folder.filePath("a"), reason));
    EXPECT_FALSE(QFile::exists(folder.filePath("a"))) << "looking makes nothing";
    EXPECT_TRUE(WriteWholeFile(folder.filePath("a"), "first", reason));
    EXPECT_TRUE(CanWriteFile(folder.filePath("a"), reason));
    EXPECT_EQ(Read(folder.filePath("a")), "first");
    EXPECT_TRUE(WriteWholeFile(folder.filePath("a"), "second", reason));
    EXPECT_EQ(Read(folder.filePath("a")), "second");
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList("a"));
}

TEST(OutputFileTest, FolderIsNoFile)
{
    const QTemporaryDir folder;
    QString reason;
    EXPECT_FALSE(CanWriteFile(folder.path(), reason));
    EXPECT_FALSE(reason.isEmpty());
    EXPECT_FALSE(CanWriteFile(folder.filePath("no/such"), reason));
    EXPECT_FALSE(WriteWholeFile(folder.filePath("no/such"), "x", reason));
}

TEST(OutputFileTest, DeviceIsWrittenStraightAndStays)
{
    QString reason;
    EXPECT_TRUE(CanWriteFile("/dev/full", reason));
    EXPECT_FALSE(WriteWholeFile("/dev/full", "x", reason));
    EXPECT_EQ(reason, "No space left on device");
    EXPECT_TRUE(WriteWholeFile("/dev/null", "x", reason));
    EXPECT_TRUE(QFile::exists("/dev/full"));
}

// Its reader takes the first closing for the end; without one an opening that waits would wait for good.
TEST(OutputFileTest, PipeIsOpenedForItsContentAloneAndWaitsForNoReader)
{
    constexpr int CONTENT = 1 << 20;  // more than a pipe holds
    const QTemporaryDir folder;
    const QString path = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
    pollfd pipe{::open(qPrintable(path), O_RDONLY | O_NONBLOCK), POLLIN, 0};
    ASSERT_GE(pipe.fd, 0);
    QString reason;
    EXPECT_TRUE(CanWriteFile(path, reason));
    ASSERT_EQ(::poll(&pipe, 1, 0), 0) << "nothing, and no end either";
    QByteArray read;
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // it is given time
        char block[4096];
        ssize_t got = 1;
        while (got > 0 && ::poll(&pipe, 1, -1) == 1) {
            got = ::read(pipe.fd, block, sizeof block);
            if (got > 0) read.append(block, got);
        }
    });
    EXPECT_TRUE(WriteWholeFile(path, QByteArray(CONTENT, 'x'), reason)) << reason.toStdString();
    reader.join();
    EXPECT_EQ(read.size(), CONTENT);
    EXPECT_FALSE(WriteWholeFile(path, QByteArray(CONTENT, 'x'), reason))
        << "which the reader leaves where it is";
    EXPECT_EQ(reason, "Resource temporarily unavailable");
    ::close(pipe.fd);
    EXPECT_FALSE(WriteWholeFile(path, "text", reason));
    EXPECT_EQ(reason, "No such device or address");
    ASSERT_EQ(::chmod(qPrintable(path), 0400), 0);
    EXPECT_EQ(CanWriteFile(path, reason), ::geteuid() == 0) << "root may all";
}

// As ssh leaves it without a terminal: it can't be opened by its name, and who writes waits for its reader.
TEST(OutputFileTest, SocketThatIsOpenAlreadyIsWrittenAndWaitsForNoReader)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const QString path = "/dev/fd/" + QString::number(ends[0]);
    QString reason;
    EXPECT_TRUE(CanWriteFile(path, reason)) << reason.toStdString();
    EXPECT_TRUE(WriteWholeFile(path, "text", reason)) << reason.toStdString();
    char read[8];
    EXPECT_EQ(::recv(ends[1], read, sizeof read, MSG_DONTWAIT), 4);
    EXPECT_FALSE(WriteWholeFile(path, QByteArray(1 << 22, 'x'), reason));
    EXPECT_EQ(reason, "Resource temporarily unavailable");
    for (const int end : ends)
        ::close(end);
}

// As under sudo: the pipe is the caller's.
TEST(OutputFileTest, AnotherUsersPipeThatIsOpenAlreadyIsWritten)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(::fchmod(ends[1], 0), 0) << "it can't be opened anew, but for root";
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t NOBODY = 65534;
        const bool user = ::geteuid() != 0 || ::setuid(NOBODY) == 0;
        const QString path = "/dev/fd/" + QString::number(ends[1]);
        QString reason;
        ::_exit(user && CanWriteFile(path, reason) && WriteWholeFile(path, "text", reason) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    ::close(ends[1]);
    char read[8];
    EXPECT_EQ(::read(ends[0], read, sizeof read), 4);
    ::close(ends[0]);
}

// As one who asks for the end once more while the program writes its report.
TEST(OutputFileTest, ASignalDoesNotEndTheWaitForASlowReader)
{
    constexpr int CONTENT = 1 << 20;  // more than a pipe holds
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const CInterruption interruption;
    bool written = false;
    QString reason;
    std::atomic<pid_t> thread = 0;
    std::thread writer([&] {
        thread = ::gettid();
        written = WriteWholeFile("/dev/fd/" + QString::number(ends[1]), QByteArray(CONTENT, 'x'), reason);
        ::close(ends[1]);
    });
    AwaitSleep(thread);  // the pipe is full
    CInterruption::Of(writer);
    char block[4096];
    int read = 0;
    for (ssize_t got = 1; got > 0; read += static_cast<int>(got))
        got = ::read(ends[0], block, sizeof block);
    writer.join();
    EXPECT_TRUE(written) << reason.toStdString();
    EXPECT_EQ(read, CONTENT);
    ::close(ends[0]);
}

TEST(OutputFileTest, LinkStaysThoughItsFileIsNotThereYet)
{
    const QTemporaryDir folder;
    const QString link = folder.filePath("link");
    ASSERT_TRUE(QFile::link("a", link));
    QString reason;
    EXPECT_TRUE(CanWriteFile(link, reason));
    EXPECT_TRUE(WriteWholeFile(link, "text", reason));
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(Read(folder.filePath("a")), "text");
}

// As a shell does before it starts a program: what was written there is kept, and what is written next comes
// behind.
TEST(OutputFileTest, FileThatIsOpenAlreadyIsWrittenOn)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("log"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("line\n");
    for (const QString place : {"/dev/fd/", "/proc/self/fd/"}) {
        const QString path = place + QString::number(file.handle());
        QString reason;
        EXPECT_TRUE(CanWriteFile(path, reason)) << reason.toStdString();
        EXPECT_TRUE(WriteWholeFile(path, "text\n", reason)) << reason.toStdString();
    }
    file.write("end\n");
    EXPECT_EQ(Read(file.fileName()), "line\ntext\ntext\nend\n");
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList("log"));
}

TEST(OutputFileTest, AWriteThatFailsHalfWayLeavesWhatWasThere)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("report");
    QString reason;
    ASSERT_TRUE(WriteWholeFile(path, "former", reason));
    {
        const CFileLimit limit(100);
        EXPECT_FALSE(WriteWholeFile(path, QByteArray(1000, 'x'), reason));
    }
    EXPECT_EQ(reason, "File too large");
    EXPECT_EQ(Read(path), "former");
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList("report"));
}

}  // namespace
