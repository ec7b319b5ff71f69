// SPDX-License-Identifier: MIT
// The least that a program with a Qt main window can cost: one of the program's size, with nothing in it, or
// with nothing but the text on the command line. Any text at all has the program load the system's fonts.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char *argv[])
{
    constexpr QSize ProgramWindowSize(556, 155);
    const QApplication application(argc, argv);
    QMainWindow window;
    if (argc > 1)
        window.setCentralWidget(new QLabel(QString::fromLocal8Bit(argv[1])));
    window.resize(ProgramWindowSize);
    window.show();
    return QApplication::exec();
}
