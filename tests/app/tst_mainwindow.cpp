// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"

#include "connections/connection.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "ui_mainwindow.h"
#include "update/emitter.h"

#include <QBoxLayout>
#include <QElapsedTimer>
#include <QImageReader>
#include <QMetaMethod>
#include <QSpacerItem>

/// The resources of a static library are there once a program has asked for them.
static void initResources()
{
    Q_INIT_RESOURCE(resources);
}

namespace {

/// What a layout holds: names of widgets and layouts, "" for a spacer.
QStringList itemNames(const QLayout &layout)
{
    QStringList names;
    for (int i = 0; i < layout.count(); ++i) {
        QLayoutItem *const item = layout.itemAt(i);
        if (const QWidget *const widget = item->widget())
            names += widget->objectName();
        else if (const QLayout *const inner = item->layout())
            names += inner->objectName();
        else
            names += QString();
    }
    return names;
}

/// The methods that a class adds to those of its base class, in their order.
QList<QMetaMethod> ownMethods(const QMetaObject &meta)
{
    QList<QMetaMethod> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods += meta.method(i);
    return methods;
}

QByteArrayList signatures(const QList<QMetaMethod> &methods)
{
    QByteArrayList texts;
    for (const QMetaMethod &method : methods)
        texts += method.methodSignature();
    return texts;
}

/// The form on a window that does nothing.
struct Form
{
    Form()
    {
        initResources();
        ui.setupUi(&window);
    }

    QMainWindow window;
    Ui_MainWindow ui;
};

} // namespace

/// The window as it comes up: its form, its wiring, what a user sees first, and its end.
class MainWindowTest : public TestCase
{
    Q_OBJECT

private slots:
    void theFormsWidgets_data();
    void theFormsWidgets();
    void theFormsLayouts();
    void theFormsSpacersGrow();
    void theFormsActions();
    void theFormsMenuBar();
    void theFormsValues();
    void theResourcesAreThere_data();
    void theResourcesAreThere();

    void theTitleIsNameAndVersion();
    void noOrganisationIsRegistered();
    void theWindowsSizeAndIcon();
    void theBarStartsEmptyAndWithoutText();
    void theButtonReadsStartUpdate();
    void theButtonIsDisabledWithoutFileName();
    void theAddressRangeIsTwoDecimalDigits();
    void theSlotsInTheirOrder();
    void theEmittersSignalsInTheirOrder();
    void anIdleWindowClosesAtOnce();
    void closingDuringAnUploadWaitsForTheLoader();
};

void MainWindowTest::theFormsWidgets_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("pointSize");
    QTest::addColumn<QSize>("minimumSize");
    const auto row = [](const char *name, const char *type, const char *text, int pointSize,
                        QSize minimumSize = {0, 0}) {
        QTest::newRow(name) << QByteArray(name) << QByteArray(type) << QString::fromLatin1(text) << pointSize
                            << minimumSize;
    };
    row("labelDevName", "QLabel", "No Connection", 10);
    row("labelAdress", "QLabel", "Address:", 9);
    row("spinBoxAdress", "QSpinBox", "0x50", 9);
    row("progressBar", "QProgressBar", "24%", 9);
    row("updBtn", "QPushButton", "Update Firmware", 9, {160, 0});
    row("lineEdit", "QLineEdit", "", 9);
    row("loadImg", "QPushButton", "Load FW Image", 9, {160, 0});
}

void MainWindowTest::theFormsWidgets()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, type);
    const Form form;
    const auto *const widget = form.window.findChild<QWidget *>(QString::fromLatin1(name));
    QVERIFY(widget);
    QCOMPARE(widget->metaObject()->className(), type);
    QCOMPARE(widget->parent(), form.ui.centralWidget);
    QTEST(widget->property("text").toString(), "text");
    QTEST(widget->font().pointSize(), "pointSize");
    QCOMPARE(widget->font().weight(), int{QFont::Normal});
    QTEST(widget->minimumSize(), "minimumSize");
}

void MainWindowTest::theFormsLayouts()
{
    const Form form;
    QCOMPARE(form.window.centralWidget(), form.ui.centralWidget);
    QCOMPARE(form.ui.centralWidget->objectName(), QStringLiteral("centralWidget"));
    QCOMPARE(form.ui.centralWidget->layout(), form.ui.verticalLayout);
    QCOMPARE(form.ui.verticalLayout->objectName(), QStringLiteral("verticalLayout"));
    QCOMPARE(form.ui.verticalLayout->spacing(), 6);
    QCOMPARE(form.ui.verticalLayout->contentsMargins(), QMargins(11, 11, 11, 11));
    QCOMPARE(form.ui.horizontalLayout->spacing(), 6);
    QCOMPARE(form.ui.progressBarLayout->spacing(), 15);
    QCOMPARE(form.ui.horizontalLayout_2->spacing(), 15);

    using Names = QStringList;
    QCOMPARE(itemNames(*form.ui.verticalLayout),
             Names({QStringLiteral("horizontalLayout"), QStringLiteral("progressBarLayout"),
                    QStringLiteral("horizontalLayout_2"), QString()}));
    QCOMPARE(itemNames(*form.ui.horizontalLayout),
             Names({QStringLiteral("labelDevName"), QString(), QStringLiteral("labelAdress"),
                    QStringLiteral("spinBoxAdress")}));
    QCOMPARE(itemNames(*form.ui.progressBarLayout),
             Names({QStringLiteral("progressBar"), QStringLiteral("updBtn")}));
    QCOMPARE(itemNames(*form.ui.horizontalLayout_2),
             Names({QStringLiteral("lineEdit"), QStringLiteral("loadImg")}));
}

void MainWindowTest::theFormsSpacersGrow()
{
    const Form form;
    QCOMPARE(form.ui.horizontalSpacer->sizeHint(), QSize(40, 20));
    QCOMPARE(form.ui.horizontalSpacer->sizePolicy(),
             QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum));
    QCOMPARE(form.ui.verticalSpacer->sizeHint(), QSize(20, 40));
    QCOMPARE(form.ui.verticalSpacer->sizePolicy(), QSizePolicy(QSizePolicy::Minimum, QSizePolicy::Expanding));
}

void MainWindowTest::theFormsActions()
{
    const Form form;
    QCOMPARE(form.ui.menuActions->actions(),
             QList<QAction *>({form.ui.actionInfraRed, form.ui.actionModbus, form.ui.actionCOM_port}));
    for (const QAction *const action : form.ui.menuActions->actions()) {
        QCOMPARE(action->parent(), &form.window);
        QVERIFY(!action->isChecked());
    }
    QCOMPARE(form.ui.actionInfraRed->objectName(), QStringLiteral("actionInfraRed"));
    QCOMPARE(form.ui.actionInfraRed->text(), QStringLiteral("InfraRed"));
    QVERIFY(form.ui.actionInfraRed->isCheckable());
    QVERIFY(!form.ui.actionInfraRed->icon().pixmap(16).isNull());
    QCOMPARE(form.ui.actionModbus->objectName(), QStringLiteral("actionModbus"));
    QCOMPARE(form.ui.actionModbus->text(), QStringLiteral("Modbus"));
    QVERIFY(form.ui.actionModbus->isCheckable());
    QVERIFY(!form.ui.actionModbus->icon().pixmap(16).isNull());
    QCOMPARE(form.ui.actionCOM_port->objectName(), QStringLiteral("actionCOM_port"));
    QCOMPARE(form.ui.actionCOM_port->text(), QStringLiteral("COM port"));
    QVERIFY(!form.ui.actionCOM_port->isCheckable());
    QVERIFY(form.ui.actionCOM_port->icon().isNull());
}

void MainWindowTest::theFormsMenuBar()
{
    const Form form;
    QCOMPARE(form.window.menuBar(), form.ui.menuBar);
    QCOMPARE(form.ui.menuBar->objectName(), QStringLiteral("menuBar"));
    QCOMPARE(form.ui.menuBar->geometry(), QRect(0, 0, 556, 21));
    QCOMPARE(form.ui.menuBar->actions(), QList<QAction *>({form.ui.menuActions->menuAction()}));
    QCOMPARE(form.ui.menuActions->objectName(), QStringLiteral("menuActions"));
    QCOMPARE(form.ui.menuActions->title(), QStringLiteral("Connection"));
    QCOMPARE(form.ui.menuActions->parent(), form.ui.menuBar);
}

void MainWindowTest::theFormsValues()
{
    const Form form;
    QCOMPARE(form.window.objectName(), QStringLiteral("MainWindow"));
    QCOMPARE(form.window.windowTitle(), QStringLiteral("MainWindow"));
    QCOMPARE(form.window.size(), QSize(556, 155));
    QCOMPARE(form.window.font().pointSize(), 9);
    QCOMPARE(form.ui.spinBoxAdress->value(), 50);
    QCOMPARE(form.ui.spinBoxAdress->prefix(), QStringLiteral("0x"));
    QCOMPARE(form.ui.progressBar->value(), 24);
    QCOMPARE(form.ui.updBtn->font().family(), QStringLiteral("MS Shell Dlg 2"));
    QVERIFY(!form.ui.updBtn->font().bold());
}

void MainWindowTest::theResourcesAreThere_data()
{
    QTest::addColumn<QString>("path");
    for (const char *const path :
         {":/zephyrin_ico.png", ":/zephyrin_ico.ico", ":/pictures/ajaxSpinner.gif",
          ":/pictures/data_cable.png", ":/pictures/memory.png", ":/pictures/infrared.png"})
        QTest::newRow(path) << QString::fromLatin1(path);
}

void MainWindowTest::theResourcesAreThere()
{
    initResources();
    QFETCH(const QString, path);
    QImageReader reader(path);
    QVERIFY2(!reader.read().isNull(), qPrintable(reader.errorString()));
}

void MainWindowTest::theTitleIsNameAndVersion()
{
    WindowBench bench;
    QCOMPARE(bench.start().windowTitle(), QStringLiteral("Zephyrin Update Utility 1.0.4"));
    QCOMPARE(QCoreApplication::applicationName(), QStringLiteral("Zephyrin Update Utility"));
    QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral("1.0.4"));
}

void MainWindowTest::noOrganisationIsRegistered()
{
    WindowBench bench;
    bench.start();
    QCOMPARE(QCoreApplication::organizationName(), QString());
    QCOMPARE(QCoreApplication::organizationDomain(), QString());
}

void MainWindowTest::theWindowsSizeAndIcon()
{
    WindowBench bench;
    const MainWindow &window = bench.start();
    QCOMPARE(window.size(), QSize(556, 155));
    QVERIFY(!window.windowIcon().pixmap(16).isNull());
    QVERIFY(!window.parent());
    QVERIFY(!window.isVisible());
}

void MainWindowTest::theBarStartsEmptyAndWithoutText()
{
    WindowBench bench;
    bench.start();
    const auto *const bar = bench.widget<QProgressBar>("progressBar");
    QCOMPARE(bar->value(), 0);
    QCOMPARE(bar->format(), QString());
    QCOMPARE(bar->text(), QString());
    QCOMPARE(
        bar->styleSheet(),
        QStringLiteral(
            "QProgressBar{border: 1px solid grey; text-align: center; border-radius: 0; background: "
            "QLinearGradient( x1: 0, y1: 0, x2: 0, y2: 1, stop: 0 #fff, stop: 0.4999 #eee, stop: 0.5 #ddd, "
            "stop: 1 #eee );    }QProgressBar::chunk {background: QLinearGradient( x1: 0, y1: 0, x2: 0, "
            "y2: 1,stop: 0 #34c0c0,stop: 0.4999 #6ad7d7,stop: 0.5 #6ad7d7,stop: 1 #248484 );border: 0px;}"));
}

void MainWindowTest::theButtonReadsStartUpdate()
{
    WindowBench bench;
    bench.start();
    QCOMPARE(bench.widget<QPushButton>("updBtn")->text(), QStringLiteral("Start Update"));
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
}

void MainWindowTest::theButtonIsDisabledWithoutFileName()
{
    WindowBench bench;
    bench.start();
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), QString());
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
}

void MainWindowTest::theAddressRangeIsTwoDecimalDigits()
{
    WindowBench bench;
    bench.start();
    const auto *const box = bench.widget<QSpinBox>("spinBoxAdress");
    QCOMPARE(box->minimum(), 0);
    QCOMPARE(box->maximum(), 99);
    QCOMPARE(box->singleStep(), 1);
}

void MainWindowTest::theSlotsInTheirOrder()
{
    const QList<QMetaMethod> methods = ownMethods(MainWindow::staticMetaObject);
    QCOMPARE(signatures(methods),
             QByteArrayList({"btnLoadImageClicked()", "onUpdBtnClicked()", "reportError(QString)",
                             "handleFinished()", "handleMessageBoxButton()", "setAddress(QString)",
                             "setConnectionType(QAction*)", "logHotKeyPressed()", "progressBarHandling(int)",
                             "stringForUpdateButton(QString)"}));
    for (const QMetaMethod &method : methods) {
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(method.returnType(), int{QMetaType::Void});
    }
}

void MainWindowTest::theEmittersSignalsInTheirOrder()
{
    const QList<QMetaMethod> methods = ownMethods(Emitter::staticMetaObject);
    QCOMPARE(signatures(methods),
             QByteArrayList({"load_finish()", "load_start(int,int)", "load_progress(int)",
                             "stop_for_spinner()", "start_for_spinner()", "numbers_changes(int,int)",
                             "signal_deviceDetouched()", "errorSignal(QString)"}));
    for (const QMetaMethod &method : methods)
        QCOMPARE(method.methodType(), QMetaMethod::Signal);
}

void MainWindowTest::anIdleWindowClosesAtOnce()
{
    WindowBench bench;
    bench.start().show();
    QVERIFY(QTest::qWaitForWindowExposed(&bench.window()));
    QElapsedTimer timer;
    timer.start();
    bench.close();
    QVERIFY2(timer.elapsed() < 5000, "closing waited for something");
}

void MainWindowTest::closingDuringAnUploadWaitsForTheLoader()
{
    constexpr int Chunks = 200;
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "200");
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("settings/deviceName"), QStringLiteral("Modbus SUB-20"));
    bench.settings.setValue(QStringLiteral("settings/filename"),
                            bench.makeImage(QByteArray(Chunks * 32, 'x')));
    bench.start();
    QCOMPARE(bench.probe().connectionType(), int{ConnectionModbusSub20});
    bench.widget<QPushButton>("updBtn")->click();
    QTRY_VERIFY(!adapter.calls(QStringLiteral("sub_rs_timing")).isEmpty());
    const QFuture<int> future = bench.probe().future();
    QVERIFY(future.isRunning());

    bench.close();
    QVERIFY(future.isFinished());
    QCOMPARE(future.result(), -1);
    QVERIFY(adapter.calls(QStringLiteral("sub_rs_xfer")).size() < Chunks / 2);
    QVERIFY(adapter.log().constLast().startsWith(QStringLiteral("sub_close ")));
}

QTEST_MAIN(MainWindowTest)
#include "tst_mainwindow.moc"
