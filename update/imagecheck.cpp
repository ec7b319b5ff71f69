// SPDX-License-Identifier: MIT
#include "update/imagecheck.h"

#include "update/checksumfile.h"
#include "update/emitter.h"
#include "update/imagefile.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QStringDecoder>

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace {

/// The image is read in portions of so many bytes; what it is shows in the first.
constexpr std::size_t PortionSize = 0x10000;
/// More than any list of checksums has.
constexpr qint64 MaxChecksumFileSize = 0x100000;

struct Beginning
{
    QByteArrayView bytes;
    ImageFault fault;
};

/// As the file formats' own texts give them.
constexpr Beginning Beginnings[]{
    {"PK\x03\x04", ImageFault::Zip},
    {"PK\x05\x06", ImageFault::Zip}, // without files
    {"PK\x07\x08", ImageFault::Zip}, // in several parts
    {"\x1f\x8b\x08", ImageFault::Gzip},
    {"%PDF-", ImageFault::Pdf},
    {"\x7f"
     "ELF",
     ImageFault::LinuxProgram},
    {"MZ", ImageFault::WindowsProgram},
};

/// HTML or XML: the first thing is a declaration, a comment or a whole tag.
bool isPage(QByteArrayView beginning)
{
    static const QRegularExpression page(
        QStringLiteral(R"(^\x{feff}?\s*<(!doctype\s|!--|\?[a-z]|[a-z][\w:.-]*(\s|/?>)))"),
        QRegularExpression::CaseInsensitiveOption);
    QStringDecoder decode(
        QStringConverter::encodingForData(beginning, u'<').value_or(QStringConverter::Utf8));
    return page.match(QString(decode(beginning))).hasMatch();
}

/// What has been found out about an image, and the file or the reason that the text names.
struct Finding
{
    ImageFault fault = ImageFault::None;
    QString file;
    QString reason;
};

QString refusalText(const Finding &finding, qint64 maxSize)
{
    switch (finding.fault) {
    case ImageFault::None:
        break;
    case ImageFault::Empty:
        return QStringLiteral("the file is empty");
    case ImageFault::TooLarge:
        return QStringLiteral("it has more than %1 bytes, and Modbus cannot number them").arg(maxSize);
    case ImageFault::Page:
        return QStringLiteral("the file is an HTML or XML page");
    case ImageFault::Zip:
        return QStringLiteral("the file is a ZIP archive");
    case ImageFault::Gzip:
        return QStringLiteral("the file is compressed with gzip");
    case ImageFault::Pdf:
        return QStringLiteral("the file is a PDF document");
    case ImageFault::LinuxProgram:
        return QStringLiteral("the file is a program for Linux (ELF)");
    case ImageFault::WindowsProgram:
        return QStringLiteral("the file is a program for Windows");
    case ImageFault::Unreadable:
        return QStringLiteral("it cannot be read to its end: %1").arg(finding.reason);
    case ImageFault::ChecksumUnreadable:
        return QStringLiteral("its checksum file %1 cannot be read: %2").arg(finding.file, finding.reason);
    case ImageFault::ChecksumMissing:
        return QStringLiteral("there is no SHA-256 checksum for it in %1").arg(finding.file);
    case ImageFault::ChecksumDiffers:
        return QStringLiteral("its SHA-256 checksum is not the one in %1").arg(finding.file);
    }
    return {};
}

/// Reads one image from its beginning to its end, and what lies beside it.
class ImageCheck
{
public:
    ImageCheck(const LoaderContext &run, ImageFile &opened) : context(run), image(opened) {}

    Finding find(qint64 maxSize);

private:
    /// False when there is nothing more: at the end, or after a failure.
    bool readPortion();
    Finding compareChecksum();
    Finding unreadable() const { return {ImageFault::Unreadable, {}, image.errorText()}; }
    QByteArrayView bytes() const { return {portion.data(), count}; }

    const LoaderContext &context;
    ImageFile &image;
    std::vector<std::uint8_t> portion = std::vector<std::uint8_t>(PortionSize);
    qint64 count = 0;
};

bool ImageCheck::readPortion()
{
    count = image.read(portion);
    return count > 0;
}

Finding ImageCheck::find(qint64 maxSize)
{
    if (!readPortion() && count < 0)
        return unreadable();
    if (const ImageFault fault = imageFault(bytes(), image.size(), maxSize); fault != ImageFault::None)
        return {fault, {}, {}};
    return compareChecksum();
}

Finding ImageCheck::compareChecksum()
{
    QFile list(context.job.imageFileName + QStringLiteral(".sha256"));
    const QFileInfo info(list.fileName());
    if (!info.exists() && !info.isSymLink())
        return {};
    if (!list.open(QIODevice::ReadOnly))
        return {ImageFault::ChecksumUnreadable, list.fileName(), list.errorString()};
    const QList<QByteArray> digests =
        sha256DigestsFor(QFileInfo(context.job.imageFileName).fileName(), list.read(MaxChecksumFileSize));
    if (digests.isEmpty())
        return {ImageFault::ChecksumMissing, list.fileName(), {}};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    do {
        hash.addData(bytes());
    } while (!context.stopRequested && readPortion());
    if (count < 0)
        return unreadable();
    const bool fits = digests.count(hash.result()) == digests.size();
    return {fits ? ImageFault::None : ImageFault::ChecksumDiffers, list.fileName(), {}};
}

} // namespace

ImageFault imageFault(QByteArrayView beginning, qint64 size, qint64 maxSize)
{
    if (size == 0)
        return ImageFault::Empty;
    if (size > maxSize)
        return ImageFault::TooLarge;
    const auto *const known =
        std::find_if(std::begin(Beginnings), std::end(Beginnings),
                     [beginning](const Beginning &one) { return beginning.startsWith(one.bytes); });
    if (known != std::end(Beginnings))
        return known->fault;
    return isPage(beginning) ? ImageFault::Page : ImageFault::None;
}

int checkImage(const LoaderContext &context, qint64 maxSize)
{
    if (!context.job.checkImage)
        return LoaderDone;
    ImageFile image(context.job.imageFileName);
    if (!image.open())
        return LoaderDone;
    const Finding finding = ImageCheck(context, image).find(maxSize);
    if (context.stopRequested)
        return LoaderFailed;
    if (finding.fault == ImageFault::None)
        return LoaderDone;
    emit context.emitter.errorSignal(QStringLiteral("The image is not sent: ") +
                                     refusalText(finding, maxSize));
    return ImageRefused;
}
