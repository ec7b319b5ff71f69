// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QTemporaryFile>
#include <QTest>

#include <unistd.h>

#include <cstdio>

/// Catches what this process writes to its standard output, or to its standard error. The test's own messages
/// go to the standard output as well: compare only after finish().
class OutputCapture
{
public:
    explicit OutputCapture(std::FILE *captured = stdout) : stream(captured)
    {
        std::fflush(stream);
        QVERIFY(file.open());
        saved = ::dup(::fileno(stream));
        QVERIFY(saved >= 0 && ::dup2(file.handle(), ::fileno(stream)) >= 0);
    }
    ~OutputCapture() { finish(); }
    OutputCapture(const OutputCapture &) = delete;
    OutputCapture &operator=(const OutputCapture &) = delete;

    /// Ends the capture and gives what was written.
    QByteArray finish()
    {
        if (saved >= 0) {
            std::fflush(stream);
            ::dup2(saved, ::fileno(stream));
            ::close(saved);
            saved = -1;
        }
        file.seek(0);
        return file.readAll();
    }

private:
    std::FILE *stream;
    QTemporaryFile file;
    int saved = -1;
};
