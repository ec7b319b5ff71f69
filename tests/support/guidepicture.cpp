// SPDX-License-Identifier: MIT
#include "tests/support/guidepicture.h"

#include <QDir>
#include <QTest>

namespace {

constexpr QImage::Format Format = QImage::Format_RGB32;
/// What Qt's PNG writer takes for its strongest compression.
constexpr int SmallestFile = 0;

qint64 differingDots(const QImage &one, const QImage &other)
{
    qint64 count = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            count += one.pixel(x, y) != other.pixel(x, y) ? 1 : 0;
    }
    return count;
}

} // namespace

QString GuidePicture::fileName() const
{
    return QStringLiteral(GUIDE_PICTURES "/%1.png").arg(name);
}

bool GuidePicture::areReplaced()
{
    return qEnvironmentVariableIsSet("ZEPHYRIN_REPLACE_PICTURES");
}

bool GuidePicture::looksLike(const QImage &taken, double tolerance) const
{
    if (areReplaced())
        return true;
    const QImage shown = QImage(fileName()).convertToFormat(Format);
    if (shown.size() != taken.size())
        return false;
    const qint64 dots = qint64{taken.width()} * taken.height();
    return static_cast<double>(differingDots(shown, taken.convertToFormat(Format))) <=
           tolerance * static_cast<double>(dots);
}

void GuidePicture::use(const QImage &taken, double tolerance) const
{
    if (!areReplaced() && looksLike(taken, tolerance))
        return;
    const QString target = areReplaced() ? fileName() : QStringLiteral(OUTDATED_PICTURES "/%1.png").arg(name);
    QVERIFY(QFileInfo(target).dir().mkpath(QStringLiteral(".")));
    QVERIFY(taken.convertToFormat(Format).save(target, "PNG", SmallestFile));
    if (!areReplaced()) {
        const QString text =
            QStringLiteral("docs/images/%1.png is out of date: the window now looks as in %2. "
                           "tools/screenshots takes all pictures anew.");
        QFAIL(qPrintable(text.arg(name, target)));
    }
}
