// SPDX-License-Identifier: MIT
#include "simulator/panelline.h"
#include "simulator/paneloptions.h"

#include <QCoreApplication>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitWrongCommandLine = 2;

/// A symbolic link that goes with its owner. One that an earlier run left behind is replaced, a file is not.
class DeviceLink
{
public:
    DeviceLink(const std::string &target, const std::string &path) : link(path)
    {
        if (path.empty())
            return;
        if (std::filesystem::is_symlink(link))
            std::filesystem::remove(link);
        std::filesystem::create_symlink(target, link);
    }
    ~DeviceLink()
    {
        std::error_code ignored;
        if (!link.empty())
            std::filesystem::remove(link, ignored);
    }
    DeviceLink(const DeviceLink &) = delete;
    DeviceLink &operator=(const DeviceLink &) = delete;

private:
    std::filesystem::path link;
};

void printCount(const char *name, std::uint64_t count)
{
    std::printf("%s %llu\n", name, static_cast<unsigned long long>(count));
}

void printResults(const simulator::PanelLine &line)
{
    const simulator::PanelModel::Counts counts = line.panel().counts();
    printCount("records", counts.records);
    printCount("bytes", line.panel().model().image().size());
    printCount("requests", counts.requests);
    printCount("bad-crc", counts.badCrcs);
    printCount("other-address", counts.otherAddresses);
    printCount("broadcasts", counts.broadcasts);
    printCount("exceptions", counts.exceptions);
    if (line.gaps().lowest)
        printCount("lowest-gap-us", static_cast<std::uint64_t>(line.gaps().lowest->count()));
    if (line.gaps().highest)
        printCount("highest-gap-us", static_cast<std::uint64_t>(line.gaps().highest->count()));
    std::fflush(stdout);
}

int reportBadOutput(const simulator::PanelOptions &options)
{
    std::fprintf(stderr, "zephyrin-panel: cannot write \"%s\"\n", options.outputFile.c_str());
    return ExitFailed;
}

int servePanel(const simulator::PanelOptions &options)
{
    simulator::ReceivedImage image(options.outputFile);
    if (!image.isGood())
        return reportBadOutput(options);
    const simulator::StopSignal stop;
    simulator::PseudoTerminal terminal;
    const DeviceLink link(terminal.clientPath(), options.linkPath);
    std::printf("%s\n", terminal.clientPath().c_str());
    std::fflush(stdout);

    simulator::PanelLine line(options, terminal, stop, image);
    const simulator::PanelLine::End end = line.run();
    printResults(line);
    return end == simulator::PanelLine::End::OutputFailed ? reportBadOutput(options) : 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zephyrin-panel"));
    const simulator::ParsedCommandLine parsed = simulator::parseCommandLine(QCoreApplication::arguments());
    if (parsed.kind == simulator::ParsedCommandLine::Kind::ShowHelp) {
        std::printf("%s", qPrintable(parsed.text));
        return 0;
    }
    if (parsed.kind == simulator::ParsedCommandLine::Kind::Wrong) {
        std::fprintf(stderr, "zephyrin-panel: %s\n", qPrintable(parsed.text));
        return ExitWrongCommandLine;
    }
    try {
        return servePanel(parsed.options);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "zephyrin-panel: %s\n", error.what());
        return ExitFailed;
    }
}
