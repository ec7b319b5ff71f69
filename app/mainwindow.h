// SPDX-License-Identifier: MIT
#pragma once

#include "app/options.h"
#include "sub20/sub20.h"
#include "update/infraredframe.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QFutureWatcher>
#include <QList>
#include <QMainWindow>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QWaitCondition>

#include <atomic>
#include <memory>
#include <optional>

class Emitter;
class ImageFile;
class Modbus;
class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QProgressBar;
class QPushButton;
class QSerialPortInfo;
class QSettings;
class QSpinBox;
class Ui_MainWindow;
class UsbMonitor;
struct UsbEvent;

/// The program's one window. Its members are spread over the folders by topic; each block below is headed by
/// the file that defines it. Everything runs on the GUI thread but the two loaders.
class MainWindow : public QMainWindow
{
    Q_OBJECT

    /// Lets the tests look at the window's state; defined with them.
    friend class WindowProbe;

public:
    explicit MainWindow(QWidget *parent = nullptr);
    /// Asks a running loader to stop, and returns when it has.
    ~MainWindow() override;

    MainWindow(const MainWindow &) = delete;
    MainWindow &operator=(const MainWindow &) = delete;

public slots:
    // The order is the meta-object's.
    void btnLoadImageClicked();
    void onUpdBtnClicked();
    /// Shows an error box and returns when it is closed. On a loader's thread, the GUI thread shows it.
    void reportError(const QString &errTxt);
    /// Ends the session of the loader that has returned.
    void handleFinished();
    void handleMessageBoxButton();
    /// Takes the panel's Modbus address from the spin box's text, hexadecimal digits behind "0x".
    void setAddress(const QString &text);
    /// Makes the menu entry that the user picked the active connection.
    void setConnectionType(QAction *action);
    void logHotKeyPressed();
    void progressBarHandling(int value);
    void stringForUpdateButton(const QString &text);

protected:
    /// The program ends with its window: from here on, no error box comes up any more.
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool nativeEvent(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    /// What one run of a loader works with, as the window stood when "Start Update" was pressed. The loader
    /// reads it on its own thread; nobody writes it meanwhile.
    struct UpdateJob
    {
        int connectionType = 0;
        QString imageFileName;
        QString portName;
        int deviceAddress = 0;
    };
    /// Runs on a pool thread and returns a LoaderResult, an adapter's error code or a ModbusResult.
    using Loader = int (MainWindow::*)();

    // app/mainwindow.cpp
    void initTitle();
    void initWidgets();
    /// Gives what has colours of its own a light ground on a dark theme, too.
    void keepReadable();
    void connectSignals();
    void initTrace();
    void addTraceKey(const QKeySequence &keys);

    // app/settings.cpp
    void loadSettings();
    void readConnectionType();
    void showAddress();

    // connections/connectionmenu.cpp
    void addConnectionAction(const QString &text, const QString &iconPath, int type, quint16 vid);
    void activateConnection(QAction *action);
    void selectStoredConnection();
    void showConnection(const QString &text);
    void showNoConnection(const QString &text);

    // connections/discovery.cpp
    void updateConnections();
    static QList<QSerialPortInfo> availableSerialPorts();

    // app/mainwindow_connections.cpp; nativeEvent() too
    /// Returns true in every case: without USB notices the program goes on, or ends by itself.
    bool registerUsbNotices();
    void reactToUsbEvent(const UsbEvent &event);

    // update/updatesession.cpp
    static QString startText();
    void refreshUpdateButton();
    void startUpdate();
    void stopUpdate();
    void beginPendingUpdate();
    void releaseAdapter();
    void waitForLoader();
    static Loader loaderFor(int type);

    // update/errorbox.cpp
    void showErrorBox(const QString &errTxt);
    void reportErrorFromLoader(const QString &errTxt);
    void releaseWaitingLoader();

    // update/infraredloader.cpp
    int irBoot();
    int sendFrames(ImageFile &image);
    int transmit(InfraredFrame &frame);

    // modbus/modbusloader.cpp
    int modbusBoot();
    int bootOverSub20(Modbus &modbus, ImageFile &image);
    int bootOverSerialPort(Modbus &modbus, ImageFile &image);
    int sendRecords(Modbus &modbus, ImageFile &image);

    std::unique_ptr<Ui_MainWindow> ui;
    QElapsedTimer elapsedTimer;
    /// The serial port to open, as the last rebuild of the menu selected it.
    QString portName;
    /// The stored name by which a rebuild of the menu finds its entry again.
    QString deviceName;
    QStringList connectionTypeNames;
    QMenu *menuActions = nullptr;
    int deviceAddress = 0;
    QPushButton *updBtn = nullptr;
    QPushButton *loadImg = nullptr;
    QProgressBar *progressBar = nullptr;
    QFuture<int> future;
    std::unique_ptr<QSettings> settings;
    Options options;
    QString imageFileName;
    QString imageDirectory;
    QLineEdit *lineEdit = nullptr;
    QFutureWatcher<int> watcher;
    QLabel *labelDevName = nullptr;
    QLabel *labelAdress = nullptr;
    QSpinBox *spinBoxAdress = nullptr;
    int connectionType = 0;
    /// Keeps its value after the adapter was closed; Sub20 makes no call with a closed handle.
    sub_handle sub20Handle = nullptr;
    std::atomic<bool> stopRequested = false;
    /// Chooses the layout of the infrared frames.
    int irProtocolVariant = InfraredCrcVariant;
    std::unique_ptr<Emitter> emitter;
    UsbMonitor *usbMonitor = nullptr;

    UpdateJob job;
    /// A start that waits for the stopped loader before it to return.
    std::optional<UpdateJob> pendingJob;
    /// A loader was started and handleFinished() has not ended its session yet.
    bool sessionOpen = false;
    /// The session's loader has reported an error.
    bool errorTold = false;

    /// The window is going down: no loader begins any more, and none waits for its error box.
    std::atomic<bool> closing = false;
    QMutex errorBoxMutex;
    QWaitCondition errorBoxClosed;
};
