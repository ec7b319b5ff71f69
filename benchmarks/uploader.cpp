// SPDX-License-Identifier: MIT
// Uploads one image with the program's own window and loaders, then says "finished" and stays until its
// standard input ends, so that its memory can be looked at.
//
//     benchmark-uploader serial DEVICE IMAGE [CHUNKS]     stops after about CHUNKS chunks
//     benchmark-uploader infrared IMAGE
#include "benchmarks/uploadwindow.h"

#include <QApplication>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

/// Ends a process whose error box nobody will ever close.
constexpr unsigned LongestLifeS = 300;

int usage()
{
    std::fprintf(stderr, "usage: benchmark-uploader serial DEVICE IMAGE [CHUNKS] | infrared IMAGE\n");
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char *argv[])
{
    alarm(LongestLifeS);
    useOffscreenPlatform();
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    UploadWindow window;
    if (arguments.size() >= 4 && arguments[1] == QStringLiteral("serial")) {
        window.useSerialPort(arguments[2]);
        window.setImage(arguments[3]);
    } else if (arguments.size() == 3 && arguments[1] == QStringLiteral("infrared")) {
        window.useInfrared();
        window.setImage(arguments[2]);
    } else {
        return usage();
    }
    if (const int most = arguments.value(4).toInt(); most > 0) {
        QObject::connect(window.emitter(), &Emitter::load_progress, &window.mainWindow(),
                         [&window, most, stopped = false](int sent) mutable {
                             if (sent >= most && !std::exchange(stopped, true))
                                 window.pressButton();
                         });
    }
    window.pressButton();
    window.waitUntilIdle();
    std::puts("finished");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    return EXIT_SUCCESS;
}
