// SPDX-License-Identifier: MIT
// What is looked at before an image is sent: the image itself and the checksum file beside it, of any
// content.
#include "update/imagecheck.h"
#include "fuzz/input.h"
#include "sub20/sub20.h"
#include "update/checksumfile.h"
#include "update/emitter.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <atomic>

namespace {

constexpr int SmallLimit = 64;
const QString ImageName = QStringLiteral("Panel.INC");

// What the first byte stands for.
constexpr std::uint8_t HasChecksum = 1;
constexpr std::uint8_t GoodDigest = 2;
constexpr std::uint8_t IsStopped = 4;
constexpr std::uint8_t IsLimited = 8;
constexpr std::uint8_t BothCases = 16;

QByteArray bytesOf(std::span<const std::uint8_t> bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    REQUIRE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

/// Each digest stands in the text in just these digits.
void requireDigests(const QByteArray &text)
{
    for (const QByteArray &digest : sha256DigestsFor(ImageName, text)) {
        REQUIRE(digest.size() == 32);
        REQUIRE(text.toLower().contains(digest.toHex()));
    }
}

void requireFault(const QByteArray &image, qint64 limit)
{
    const ImageFault fault = imageFault(image, image.size(), limit);
    REQUIRE((fault == ImageFault::Empty) == image.isEmpty());
    REQUIRE((fault == ImageFault::TooLarge) == (image.size() > limit));
    REQUIRE(fault != ImageFault::Zip || image.startsWith("PK"));
    REQUIRE(fault != ImageFault::WindowsProgram || image.startsWith("MZ"));
    REQUIRE(fault != ImageFault::LinuxProgram || image.startsWith("\x7f"
                                                                  "ELF"));
    REQUIRE(fault != ImageFault::Page || image.contains('<'));
}

/// The whole check, with what it says.
class Bench
{
public:
    Bench()
    {
        REQUIRE(folder.isValid());
        QObject::connect(&emitter, &Emitter::errorSignal, &emitter,
                         [this](const QString &text) { errors += text; });
    }
    QString imagePath() const { return folder.filePath(ImageName); }
    QString checksumPath() const { return imagePath() + QStringLiteral(".sha256"); }

    int check(bool isStopped, qint64 limit)
    {
        UpdateJob job;
        job.imageFileName = imagePath();
        job.checkImage = true;
        stopRequested = isStopped;
        errors.clear();
        return checkImage({job, emitter, stopRequested, adapter, handle, emitter, nullptr, nullptr}, limit);
    }

    QStringList errors;

private:
    QTemporaryDir folder;
    Emitter emitter;
    std::atomic<bool> stopRequested = false;
    Sub20 adapter{Sub20Functions()};
    sub_handle handle = nullptr;
};

void requireSense(int result, const QStringList &errors)
{
    const QString prefix = QStringLiteral("The image is not sent: ");
    const bool isRefused = result == ImageRefused;
    REQUIRE(isRefused || result == LoaderDone || result == LoaderFailed);
    REQUIRE(errors.size() == (isRefused ? 1 : 0));
    REQUIRE(!isRefused || (errors[0].startsWith(prefix) && errors[0].size() > prefix.size()));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Bench bench;
    Input input(data, size);
    const std::uint8_t flags = input.byte();
    const QByteArray image = bytesOf(input.take(input.word() % 512));
    QByteArray text = bytesOf(input.take(input.size()));
    if ((flags & GoodDigest) != 0) {
        const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
        text.replace("DIGEST", (flags & BothCases) != 0 ? digest.toUpper() : digest);
    }
    const qint64 limit = (flags & IsLimited) != 0 ? SmallLimit : AnyImageSize;
    requireDigests(text);
    requireFault(image, limit);

    write(bench.imagePath(), image);
    const bool hasChecksum = (flags & HasChecksum) != 0;
    if (hasChecksum)
        write(bench.checksumPath(), text);
    else
        QFile::remove(bench.checksumPath());
    const bool isStopped = (flags & IsStopped) != 0;
    const int result = bench.check(isStopped, limit);
    requireSense(result, bench.errors);
    const bool isGood = imageFault(image, image.size(), limit) == ImageFault::None;
    REQUIRE(!isStopped || result == LoaderFailed);
    REQUIRE(isStopped || hasChecksum || result == (isGood ? LoaderDone : ImageRefused));
    REQUIRE(isStopped || !isGood ||
            text != QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex() ||
            result == LoaderDone);
    return 0;
}
