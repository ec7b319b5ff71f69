// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/trace/tracedialog.h"

#include <QTemporaryDir>

#include <sys/mount.h>
#include <unistd.h>

namespace {

constexpr int PageSize = 4096;

/// A disk in memory that is gone with this object. Only the system's administrator can make one, and not
/// everywhere.
class MemoryDisk
{
public:
    MemoryDisk(unsigned long flags, const char *options)
        : mounted(::mount("tmpfs", path().toLocal8Bit().constData(), "tmpfs", flags, options) == 0)
    {
    }
    ~MemoryDisk()
    {
        if (mounted)
            ::umount2(path().toLocal8Bit().constData(), MNT_DETACH);
    }
    MemoryDisk(const MemoryDisk &) = delete;
    MemoryDisk &operator=(const MemoryDisk &) = delete;

    bool isMounted() const { return mounted; }
    QString path() const { return folder.path(); }

private:
    QTemporaryDir folder;
    bool mounted;
};

/// A folder in which no file can be made, not even by the system's administrator.
class ReadOnlyFolder
{
public:
    ReadOnlyFolder() : disk(MS_RDONLY, nullptr)
    {
        QFile::setPermissions(disk.path(), QFile::ReadOwner | QFile::ExeOwner);
    }
    ~ReadOnlyFolder()
    {
        QFile::setPermissions(disk.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    ReadOnlyFolder(const ReadOnlyFolder &) = delete;
    ReadOnlyFolder &operator=(const ReadOnlyFolder &) = delete;

    /// Permissions do not keep the administrator out, so without a disk a path below a file has to do.
    QString path() const
    {
        return disk.isMounted() || ::geteuid() != 0 ? disk.path() : QStringLiteral("/proc/version");
    }

private:
    MemoryDisk disk;
};

} // namespace

/// Saving the trace where it does not go well. Whatever happens, the trace stays and the dialog goes on.
class TraceSavingTest : public TestCase
{
    Q_OBJECT

private slots:
    void aFullDiskIsNotReported();
    void aReadOnlyFolderIsReported();
    void aPathThatDoesNotExistIsReported_data();
    void aPathThatDoesNotExistIsReported();
    void aLongerFileIsCutOff();

private:
    void goesOn(Trace &trace);
    void isReported(const QString &file);
};

/// The trace grows by a message, and can be saved elsewhere.
void TraceSavingTest::goesOn(Trace &trace)
{
    const QString before = trace.text();
    trace.log("after");
    QCOMPARE(trace.text(), before + QStringLiteral("\nafter"));
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("trace.txt"));
    const SaveChoice choice(file);
    trace.dialog.save();
    QCOMPARE(contentOf(file), trace.text().toUtf8());
}

void TraceSavingTest::isReported(const QString &file)
{
    Trace trace;
    trace.log("one");
    {
        const MessageBoxes boxes;
        const SaveChoice choice(file);
        trace.dialog.save();
        QCOMPARE(choice.count(), 1);
        QCOMPARE(boxes.contents().size(), 1);
        QCOMPARE(boxes.contents().constFirst().title, QStringLiteral("Error"));
        QVERIFY(
            boxes.contents().constFirst().text.startsWith(QStringLiteral("<nobr>File '%1'<br/>").arg(file)));
    }
    QCOMPARE(trace.text(), QStringLiteral("one"));
    goesOn(trace);
}

// What does not fit is lost without a word.
void TraceSavingTest::aFullDiskIsNotReported()
{
    const MemoryDisk disk(0, "size=4k");
    // Where no disk can be made, the device that is always full stands in for it.
    const QString file =
        disk.isMounted() ? disk.path() + QStringLiteral("/trace.txt") : QStringLiteral("/dev/full");
    Trace trace;
    const QByteArray line(PageSize - 1, 'x');
    for (int i = 0; i < 10; ++i)
        trace.log(line.constData());
    const QString before = trace.text();
    {
        const SaveChoice choice(file);
        int warnings = 0;
        const ModalWatch<QMessageBox> boxes([&warnings](QMessageBox &box) {
            if (auto *const overwrite = box.button(QMessageBox::Yes))
                overwrite->click();
            else
                ++warnings;
        });
        trace.dialog.save();
        QCOMPARE(choice.count(), 1);
        QCOMPARE(warnings, 0);
    }
    if (disk.isMounted())
        QCOMPARE(contentOf(file), before.toUtf8().first(PageSize));
    QCOMPARE(trace.text(), before);
    goesOn(trace);
}

void TraceSavingTest::aReadOnlyFolderIsReported()
{
    const ReadOnlyFolder folder;
    const QString file = folder.path() + QStringLiteral("/trace.txt");
    isReported(file);
    QVERIFY(!QFile::exists(file));
}

void TraceSavingTest::aPathThatDoesNotExistIsReported_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("no such folder") << QStringLiteral("/no such folder/trace.txt");
    QTest::newRow("no such folders") << QStringLiteral("/no such folder/nor this one/trace.txt");
    QTest::newRow("below a file") << QStringLiteral("/proc/version/trace.txt");
}

void TraceSavingTest::aPathThatDoesNotExistIsReported()
{
    QFETCH(const QString, file);
    isReported(file);
}

void TraceSavingTest::aLongerFileIsCutOff()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("trace.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(QByteArray(10 * PageSize, 'x')), 10 * PageSize);
    file.close();
    Trace trace;
    trace.log("one");
    trace.log("two");
    const SaveChoice choice(file.fileName());
    const ModalWatch<QMessageBox> boxes(
        [](const QMessageBox &box) { box.button(QMessageBox::Yes)->click(); });
    trace.dialog.save();
    QCOMPARE(boxes.count(), 1); // the save dialog asks whether to write over it
    QCOMPARE(contentOf(file.fileName()), QByteArray("one\ntwo"));
}

QTEST_MAIN(TraceSavingTest)
#include "tst_tracesaving.moc"
