// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QTemporaryFile>
#include <QTest>

#include <unistd.h>

#include <cstdio>

/// Catches what this process writes to its standard output. The test's own messages go there as well: compare
/// only after finish().
class OutputCapture
{
public:
    OutputCapture()
    {
        std::fflush(stdout);
        QVERIFY(file.open());
        saved = ::dup(STDOUT_FILENO);
        QVERIFY(saved >= 0 && ::dup2(file.handle(), STDOUT_FILENO) >= 0);
    }
    ~OutputCapture() { finish(); }
    OutputCapture(const OutputCapture &) = delete;
    OutputCapture &operator=(const OutputCapture &) = delete;

    /// Ends the capture and gives what was written.
    QByteArray finish()
    {
        if (saved >= 0) {
            std::fflush(stdout);
            ::dup2(saved, STDOUT_FILENO);
            ::close(saved);
            saved = -1;
        }
        file.seek(0);
        return file.readAll();
    }

private:
    QTemporaryFile file;
    int saved = -1;
};
