// SPDX-License-Identifier: MIT
#pragma once

#include "app/hardware.h"
#include "app/logbook.h"
#include "app/options.h"
#include "update/errorreporter.h"
#include "update/firmwareloader.h"
#include "update/infraredframe.h"
#include "update/updatejob.h"
#include "update/updatesession.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QFutureWatcher>
#include <QMainWindow>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>

class ConnectionLabel;
class Emitter;
class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QProgressBar;
class QPushButton;
class QSettings;
class QSpinBox;
class Ui_MainWindow;
struct UsbEvent;
enum class ConnectionLoader;

/// The program's one window and its wiring. Everything runs on the GUI thread but the two loaders.
class MainWindow : public QMainWindow
{
    Q_OBJECT

    friend class WindowProbe; ///< lets the tests look at the window's state; defined with them

public:
    /// `hardware` may stand in for the machine's.
    explicit MainWindow(QWidget *parent = nullptr, Hardware hardware = {});
    /// Asks a running loader to stop, and returns when it has.
    ~MainWindow() override;

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
    // mainwindow.cpp
    void initTitle();
    void initWidgets();
    /// Gives what has colours of its own a light ground on a dark theme, too.
    void adaptToTheme();
    void connectSignals();
    void initTrace();

    // mainwindow_settings.cpp
    void loadSettings();
    void readConnectionType();

    // mainwindow_connections.cpp
    void updateConnections();
    void addConnectionAction(const QString &text, const QString &iconPath, int type, quint16 vid);
    void selectStoredConnection();
    void activateConnection(QAction *action);
    void storeConnection(const QAction &action);
    void showConnection(const QString &text);
    /// Returns true in every case: without a monitor the program goes on, or ends by itself.
    bool registerUsbMonitor();
    void reactToUsbEvent(const UsbEvent &event);

    // mainwindow_update.cpp
    void refreshUpdateButton();
    void startUpdate();
    /// On a pool thread, as the loaders. A LoaderResult, an adapter's error code or a ModbusResult.
    int runLoader(ConnectionLoader loader);
    int irBoot();
    int modbusBoot();
    LoaderContext loaderContext();
    void releaseRun(const SessionEnd &end);
    void showErrorBox(const QString &errTxt);

    static inline const QString StartText = QStringLiteral("Start Update");

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
    QString imageFileName;
    QLineEdit *lineEdit = nullptr;
    QString imageDirectory;
    QFutureWatcher<int> watcher;
    QLabel *labelDevName = nullptr;
    QSpinBox *spinBoxAdress = nullptr;
    int connectionType = 0;
    /// Keeps its value after the adapter was closed; Sub20 makes no call with a closed handle.
    sub_handle sub20Handle = nullptr;
    std::atomic<bool> stopRequested = false;
    std::unique_ptr<Emitter> emitter;
    const Hardware hardware;
    QLabel *labelAdress = nullptr;
    /// Chooses the layout of the infrared frames.
    int irProtocolVariant = infrared::CrcVariant;
    Options options;
    std::unique_ptr<ConnectionLabel> connectionLabel;
    bool barIsOnLightGround = false;
    UsbMonitor *usbMonitor = nullptr;
    LogBook logBook;
    const std::unique_ptr<StayAwake> stayAwake;
    /// What the loader works with; belongs to its thread while it runs.
    UpdateJob job;
    UpdateSession session{future, watcher, stopRequested};
    ErrorReporter errorReporter;
};
