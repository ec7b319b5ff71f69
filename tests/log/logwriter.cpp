// SPDX-License-Identifier: MIT
// Writes COUNT lines "NAME 0", "NAME 1" ... to a log file that another program writes to as well.
//
//     logwriter FILE LARGEST NAME COUNT
#include "log/logfile.h"

#include <QString>

#include <cstdlib>

int main(int argc, char *argv[])
{
    if (argc != 5)
        return EXIT_FAILURE;
    LogFile file(QString::fromLocal8Bit(argv[1]), QByteArray(argv[2]).toLongLong());
    const int count = QByteArray(argv[4]).toInt();
    for (int i = 0; i < count; ++i) {
        if (!file.write(QByteArray(argv[3]) + ' ' + QByteArray::number(i) + '\n').isEmpty())
            return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
