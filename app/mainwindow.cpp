// SPDX-License-Identifier: MIT
// MainWindow: its assembly, wiring and end.
#include "app/mainwindow.h"

#include "connections/connectionlabel.h"
#include "log/logmessages.h"
#include "trace/logbrowser.h"
#include "ui_mainwindow.h"
#include "update/emitter.h"

#include <QApplication>
#include <QCloseEvent>
#include <QEvent>
#include <QKeySequence>
#include <QLabel>
#include <QList>
#include <QPalette>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QShortcut>

#include <optional>
#include <utility>

namespace {

const QString ProgressBarStyle = QStringLiteral(
    "QProgressBar{border: 1px solid grey; text-align: center; border-radius: 0; background: QLinearGradient( "
    "x1: 0, y1: 0, x2: 0, y2: 1, stop: 0 #fff, stop: 0.4999 #eee, stop: 0.5 #ddd, stop: 1 #eee );    }"
    "QProgressBar::chunk {background: QLinearGradient( x1: 0, y1: 0, x2: 0, y2: 1,stop: 0 #34c0c0,"
    "stop: 0.4999 #6ad7d7,stop: 0.5 #6ad7d7,stop: 1 #248484 );border: 0px;}");

} // namespace

MainWindow::MainWindow(QWidget *parent, Hardware lent)
    : QMainWindow(parent),
      ui(std::make_unique<Ui_MainWindow>()),
      hardware(std::move(lent)),
      stayAwake(hardware.stayAwake(*this)),
      errorReporter([this](const QString &text) {
          session.noteError();
          logBook.run.noteError(text);
          showErrorBox(text);
      })
{
    Q_INIT_RESOURCE(resources);
    ui->setupUi(this);
    initTitle();
    initWidgets();
    emitter = std::make_unique<Emitter>();
    // Before the signals are connected: filling the widgets from the settings writes nothing back.
    loadSettings();
    noteStart(options);
    registerUsbMonitor();
    connectSignals();
    initTrace();
    updateConnections();
}

MainWindow::~MainWindow()
{
    errorReporter.close();
    session.close();
    session.waitForLoader();
    if (hasLogFile()) { // what the loader has reported meanwhile is in it, too
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
        errorReporter.showRest();
    }
    if (const std::optional<SessionEnd> end = session.finish())
        releaseRun(*end);
    ui.reset();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    QMainWindow::closeEvent(event);
    errorReporter.close();
    session.close();
    // The end may wait for a loader; no dead window stands on the screen meanwhile.
    if (logBrowser)
        logBrowser->closeBrowser();
}

void MainWindow::initTitle()
{
    QCoreApplication::setApplicationName(QStringLiteral("Zephyrin Update Utility"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0.4"));
    setWindowTitle(QStringLiteral("%1 %2").arg(QCoreApplication::applicationName(),
                                               QCoreApplication::applicationVersion()));
}

void MainWindow::initWidgets()
{
    connectionTypeNames = {QStringLiteral("No Connections"), QStringLiteral("INFRARED SUB-20"),
                           QStringLiteral("MODBUS SUB-20"), QStringLiteral("COM")};
    portName = QString();

    updBtn = ui->updBtn;
    labelDevName = ui->labelDevName;
    labelAdress = ui->labelAdress;
    updBtn->setText(StartText);
    loadImg = ui->loadImg;
    lineEdit = ui->lineEdit;
    progressBar = ui->progressBar;
    menuActions = ui->menuActions;
    progressBar->setValue(0);
    progressBar->setStyleSheet(ProgressBarStyle);
    progressBar->setFormat(QString());
    spinBoxAdress = ui->spinBoxAdress;
    connectionLabel = std::make_unique<ConnectionLabel>(*labelDevName);
    adaptToTheme();
    QApplication::setWindowIcon(windowIcon()); // the program's other windows have none of their own
}

void MainWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && connectionLabel)
        adaptToTheme();
}

void MainWindow::adaptToTheme()
{
    connectionLabel->adaptToTheme();
    // The sheet of the bar has a light ground, whatever the theme is. On a light theme nothing is touched.
    const bool isDark = isDarkTheme(palette());
    if (!isDark && !barIsOnLightGround)
        return;
    QPalette onLightGround;
    if (isDark)
        onLightGround.setColor(QPalette::Text, Qt::black);
    progressBar->setPalette(onLightGround);
    barIsOnLightGround = isDark;
}

void MainWindow::connectSignals()
{
    connect(loadImg, SIGNAL(clicked()), this, SLOT(btnLoadImageClicked()));
    connect(updBtn, SIGNAL(clicked()), this, SLOT(onUpdBtnClicked()));
    connect(emitter.get(), SIGNAL(errorSignal(QString)), this, SLOT(reportError(QString)));
    connect(emitter.get(), SIGNAL(load_start(int,int)), progressBar, SLOT(setRange(int,int)));
    connect(emitter.get(), SIGNAL(load_progress(int)), this, SLOT(progressBarHandling(int)));
    connect(&watcher, SIGNAL(finished()), this, SLOT(handleFinished()));
    connect(&watcher, SIGNAL(canceled()), this, SLOT(handleFinished()));
    connect(spinBoxAdress, SIGNAL(textChanged(QString)), this, SLOT(setAddress(QString)));
    connect(lineEdit, SIGNAL(textChanged(QString)), this, SLOT(stringForUpdateButton(QString)));
    connect(menuActions, SIGNAL(triggered(QAction*)), this, SLOT(setConnectionType(QAction*)));
}

void MainWindow::initTrace()
{
    logBrowser = new LogBrowser(this, nullptr);
    logHandlerInstalled = false;
    QList<QKeySequence> traceKeys{Qt::CTRL | Qt::SHIFT | Qt::Key_BracketRight};
    if (!options.traceKey.isEmpty())
        traceKeys += options.traceKey;
    for (const QKeySequence &keys : std::as_const(traceKeys)) {
        auto *const hotKey = new QShortcut(keys, this);
        hotKey->setContext(Qt::ApplicationShortcut);
        connect(hotKey, SIGNAL(activated()), this, SLOT(logHotKeyPressed()));
        // Of two shortcuts that one press fits, Qt takes one and says so.
        connect(hotKey, &QShortcut::activatedAmbiguously, this, &MainWindow::logHotKeyPressed);
    }
}

void MainWindow::logHotKeyPressed()
{
    passMessagesTo(logHandlerInstalled ? nullptr : logMessageHandler);
    logHandlerInstalled = !logHandlerInstalled;
    if (logHandlerInstalled) {
        reportRefused(options);
        reportLogFile();
    }
    if (logBrowser)
        logBrowser->hideBrowser();
}
