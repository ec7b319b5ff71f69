// SPDX-License-Identifier: MIT
#include "log/logline.h"

#include <QChar>

namespace {

constexpr char16_t FirstPrintable = 0x20;
constexpr char16_t Delete = 0x7F;
/// Where Unicode shows the control characters 0 to 0x1F, and those of the other line ends.
constexpr char16_t ControlPictures = 0x2400;
constexpr char16_t DeletePicture = 0x2421;
constexpr char16_t NewLinePicture = 0x2424;
constexpr int LongestLevel = 8;

const char *levelName(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg:
        return "debug";
    case QtInfoMsg:
        return "info";
    case QtWarningMsg:
        return "warning";
    case QtCriticalMsg:
        return "critical";
    case QtFatalMsg:
        return "fatal";
    }
    return "unknown";
}

QString onOneLine(QString text)
{
    for (QChar &c : text) {
        const char16_t code = c.unicode();
        if (code < FirstPrintable)
            c = QChar(static_cast<char16_t>(ControlPictures + code));
        else if (code == Delete)
            c = QChar(DeletePicture);
        else if (code == 0x85 || code == QChar::LineSeparator || code == QChar::ParagraphSeparator)
            c = QChar(NewLinePicture);
    }
    return text;
}

/// Where the offset is 0, Qt writes "Z".
QString isoTime(const QDateTime &time)
{
    QString text = time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs);
    if (text.endsWith(u'Z'))
        text.replace(text.size() - 1, 1, QStringLiteral("+00:00"));
    return text;
}

} // namespace

QByteArray logLine(const QDateTime &time, LogThread thread, QtMsgType level, const QString &text)
{
    const QByteArray words = isoTime(time).toLatin1() +
                             (thread == LogThread::Window ? " window " : " loader ") +
                             QByteArray(levelName(level)).leftJustified(LongestLevel) + ' ';
    return words + onOneLine(text).toUtf8() + '\n';
}
