// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "trace/logbrowser.h"
#include "trace/logbrowserdialog.h"

#include <QAccessible>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTextBrowser>

#include <functional>

namespace {

constexpr quint16 ConverterVendorId = 0x0403;

QAccessibleInterface &accessible(QObject *object)
{
    return *QAccessible::queryAccessibleInterface(object);
}

QString name(QObject *object)
{
    return accessible(object).text(QAccessible::Name);
}

QString description(QObject *object)
{
    return accessible(object).text(QAccessible::Description);
}

bool canBePressed(QAccessible::Role role)
{
    return role == QAccessible::Button || role == QAccessible::MenuItem;
}

/// What a screen reader misses at an object that can be worked or that shows a value; empty when it misses
/// nothing.
QString missingAt(QAccessibleInterface &object)
{
    QAccessibleActionInterface *const actions = object.actionInterface();
    if (object.text(QAccessible::Name).isEmpty())
        return QStringLiteral("name");
    if (object.role() == QAccessible::NoRole || object.role() == QAccessible::Client)
        return QStringLiteral("role");
    if (canBePressed(object.role()) && (!actions || actions->actionNames().isEmpty()))
        return QStringLiteral("action");
    return {};
}

/// Visits a visible object and all that it holds. Where something is missing the running test fails; the
/// names of the objects that can be worked or that show a value are returned.
QStringList workableObjects(QAccessibleInterface *object)
{
    QStringList names;
    if (!object || !object->isValid() || object->state().invisible)
        return names;
    const bool isWorkable = object->state().focusable || object->valueInterface() ||
                            object->editableTextInterface() || canBePressed(object->role());
    if (isWorkable) {
        const QString missing = missingAt(*object);
        const QByteArray what = QByteArray(object->object()->metaObject()->className()) + " " +
                                object->object()->objectName().toLatin1() + " has no " + missing.toLatin1();
        if (!missing.isEmpty())
            QTest::qFail(what.constData(), __FILE__, __LINE__);
        names += object->text(QAccessible::Name);
    }
    for (int i = 0; i < object->childCount(); ++i)
        names += workableObjects(object->child(i));
    return names;
}

QStringList workableObjects(QWidget &window)
{
    return workableObjects(&accessible(&window));
}

/// The names of the controls that Tab, or Shift+Tab, goes through, from the focus on until it is back there.
QStringList tabThrough(QWidget &window, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    constexpr int MostControls = 20;
    QStringList names;
    QWidget *const first = window.focusWidget();
    for (int i = 0; i < MostControls; ++i) {
        names += name(window.focusWidget());
        QTest::keyClick(window.focusWidget(), modifiers ? Qt::Key_Backtab : Qt::Key_Tab, modifiers);
        if (window.focusWidget() == first)
            return names;
    }
    QTest::qFail("Tab does not come back to where it began", __FILE__, __LINE__);
    return names;
}

/// A window with every connection, shown, with the keyboard.
struct ShownWindow
{
    explicit ShownWindow(const QString &connection)
    {
        bench.devices.addSerialPort(QStringLiteral("ttyUSB1"), QStringLiteral("USB Serial"),
                                    ConverterVendorId);
        bench.start(connection, "image");
        bench.window().show();
        bench.window().activateWindow();
        isActive = QTest::qWaitForWindowActive(&bench.window());
    }

    template<typename Widget> Widget *widget(const char *objectName) const
    {
        return bench.widget<Widget>(objectName);
    }
    QString focus() const { return name(bench.window().focusWidget()); }

    SimulatedAdapter adapter;
    WindowBench bench{adapter};
    bool isActive = false;
};

const QString Port = QStringLiteral("ttyUSB1");
const QString Address = QStringLiteral("Address:");
const QString Start = QStringLiteral("Start Update");
const QString Image = QStringLiteral("Firmware image");
const QString Load = QStringLiteral("Load FW Image");

} // namespace

/// What screen readers and people without a mouse get: names, actions and the ways of the keyboard.
class AccessibilityTest : public TestCase
{
    Q_OBJECT

private slots:
    void everythingInTheWindowHasANameARoleAndAnAction_data();
    void everythingInTheWindowHasANameARoleAndAnAction();
    void everythingInTheErrorBoxHasANameARoleAndAnAction();
    void everythingInTheTraceHasANameARoleAndAnAction();
    void theErrorBoxTellsItsTexts();
    void theCaptionOfTheAddressIsItsName();
    void theElapsedTimeIsTold();

    void tabGoesThroughTheWindowAsTheEyeDoes();
    void tabPassesByWhatIsDisabled();
    void tabGoesThroughTheTrace();
    void theSpaceBarPressesAButton();
    void enterInAFieldPressesNothing();
    void altAndDownOpenTheMenu();
    void focusLeavesAnAddressThatDoesNotMatter();
    void focusLeavesAButtonThatCannotBePressed();
    void focusStaysOnTheButtonThatStopsTheUpdate();
};

void AccessibilityTest::everythingInTheWindowHasANameARoleAndAnAction_data()
{
    QTest::addColumn<QString>("connection");
    QTest::newRow("infrared") << InfraRedText;
    QTest::newRow("serial port") << Port;
}

void AccessibilityTest::everythingInTheWindowHasANameARoleAndAnAction()
{
    QFETCH(const QString, connection);
    const ShownWindow shown(connection);
    QStringList names = workableObjects(shown.bench.window());
    for (const QString &expected :
         {Address, Start, Image, Load, QStringLiteral("Update progress"), QStringLiteral("Connection")})
        QVERIFY2(names.contains(expected), qPrintable(names.join(u',')));

    QMenu *const menu = shown.bench.widget<QMenu>("menuActions");
    menu->popup({});
    QTRY_VERIFY(menu->isVisible());
    names = workableObjects(*menu);
    for (const QString &expected : {InfraRedText, ModbusText, Port})
        QVERIFY2(names.contains(expected), qPrintable(names.join(u',')));
    menu->close();
}

void AccessibilityTest::everythingInTheErrorBoxHasANameARoleAndAnAction()
{
    WindowBench bench;
    bench.start();
    QStringList names;
    const ModalWatch<QMessageBox> watch([&](QMessageBox &box) { names = workableObjects(box); });
    bench.window().reportError(QStringLiteral("It broke"));
    QVERIFY2(names.contains(QStringLiteral("Close")), qPrintable(names.join(u',')));
}

void AccessibilityTest::everythingInTheTraceHasANameARoleAndAnAction()
{
    constexpr int MoreThanFits = 100;
    QWidget styleSource;
    LogBrowserDialog trace(&styleSource, nullptr);
    trace.show();
    for (int i = 0; i < MoreThanFits; ++i)
        trace.outputMessage(QtDebugMsg, QStringLiteral("44 bytes written..."));
    QTRY_VERIFY(trace.findChild<QTextBrowser *>()->verticalScrollBar()->isVisible());
    const QStringList names = workableObjects(trace);
    for (const char *const expected : {"Log messages", "Clear", "Save Trace"})
        QVERIFY2(names.contains(QString::fromLatin1(expected)), qPrintable(names.join(u',')));
}

void AccessibilityTest::theErrorBoxTellsItsTexts()
{
    WindowBench bench;
    bench.start();
    QString told;
    QStringList shown;
    const ModalWatch<QMessageBox> watch([&](QMessageBox &box) {
        told = name(&box) + u' ' + description(&box);
        for (QLabel *const label : box.findChildren<QLabel *>())
            shown += name(label);
    });
    bench.window().reportError(QStringLiteral("It broke"));
    QCOMPARE(told, QStringLiteral("Error: It broke"));
    QVERIFY(shown.contains(QStringLiteral("Error:")));
    QVERIFY(shown.contains(QStringLiteral("It broke")));
}

void AccessibilityTest::theCaptionOfTheAddressIsItsName()
{
    const ShownWindow shown(Port);
    auto *const box = shown.widget<QSpinBox>("spinBoxAdress");
    QCOMPARE(name(box), Address);
    QCOMPARE(accessible(box).text(QAccessible::Value), QStringLiteral("0x50"));
    const auto relations = accessible(shown.widget<QLabel>("labelAdress")).relations();
    QCOMPARE(relations.size(), 1);
    QCOMPARE(relations.constFirst().first->object(), box);
}

void AccessibilityTest::theElapsedTimeIsTold()
{
    const ShownWindow shown(Port);
    auto *const bar = shown.widget<QProgressBar>("progressBar");
    QCOMPARE(description(bar), QString());
    emit shown.bench.probe().emitter()->load_start(0, 10);
    emit shown.bench.probe().emitter()->load_progress(3);
    QCOMPARE(accessible(bar).valueInterface()->currentValue().toInt(), 3);
    QVERIFY(description(bar).startsWith(QStringLiteral("Elapsed time: ")));
    QCOMPARE(description(bar), bar->text());
    shown.bench.runLoader([] { return 0; });
    QCOMPARE(description(bar), QString());
}

void AccessibilityTest::tabGoesThroughTheWindowAsTheEyeDoes()
{
    const ShownWindow shown(Port);
    QVERIFY(shown.isActive);
    QCOMPARE(tabThrough(shown.bench.window()), QStringList({Address, Start, Image, Load}));
    QCOMPARE(tabThrough(shown.bench.window(), Qt::ShiftModifier), QStringList({Address, Load, Image, Start}));
}

void AccessibilityTest::tabPassesByWhatIsDisabled()
{
    const ShownWindow shown(InfraRedText);
    shown.widget<QLineEdit>("lineEdit")->clear();
    QCOMPARE(shown.focus(), Image);
    QCOMPARE(tabThrough(shown.bench.window()), QStringList({Image, Load}));
}

void AccessibilityTest::tabGoesThroughTheTrace()
{
    QWidget styleSource;
    LogBrowserDialog trace(&styleSource, nullptr);
    trace.show();
    trace.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&trace));
    const QStringList inOrder{QStringLiteral("Log messages"), QStringLiteral("Clear"),
                              QStringLiteral("Save Trace")};
    QCOMPARE(tabThrough(trace), inOrder);
}

void AccessibilityTest::theSpaceBarPressesAButton()
{
    const ShownWindow shown(Port);
    for (const char *const buttonName : {"updBtn", "loadImg"}) {
        auto *const button = shown.widget<QPushButton>(buttonName);
        button->disconnect();
        const QSignalSpy clicked(button, &QPushButton::clicked);
        button->setFocus();
        QTest::keyClick(button, Qt::Key_Space);
        QCOMPARE(clicked.size(), 1);
    }
}

void AccessibilityTest::enterInAFieldPressesNothing()
{
    const ShownWindow shown(Port);
    for (const char *const buttonName : {"updBtn", "loadImg"})
        shown.widget<QPushButton>(buttonName)->disconnect(&shown.bench.window());
    const QSignalSpy started(shown.widget<QPushButton>("updBtn"), &QPushButton::clicked);
    const QSignalSpy loaded(shown.widget<QPushButton>("loadImg"), &QPushButton::clicked);
    QTest::keyClick(shown.widget<QLineEdit>("lineEdit"), Qt::Key_Return);
    QTest::keyClick(shown.widget<QSpinBox>("spinBoxAdress"), Qt::Key_Return);
    QCOMPARE(started.size() + loaded.size(), 0);
}

void AccessibilityTest::altAndDownOpenTheMenu()
{
    const ShownWindow shown(Port);
    QVERIFY(shown.isActive);
    auto *const field = shown.widget<QLineEdit>("lineEdit");
    field->setFocus();
    QTest::keyClick(&shown.bench.window(), Qt::Key_Alt);
    QTest::keyClick(shown.widget<QMenuBar>("menuBar"), Qt::Key_Down);
    QMenu *const menu = shown.bench.widget<QMenu>("menuActions");
    QTRY_VERIFY(menu->isVisible());
    QTest::keyClick(menu, Qt::Key_Down);
    QTest::keyClick(menu, Qt::Key_Return);
    QCOMPARE(shown.widget<QLabel>("labelDevName")->text(), QStringLiteral("Connection via ") + ModbusText);
    QTRY_VERIFY(field->hasFocus());
}

void AccessibilityTest::focusLeavesAnAddressThatDoesNotMatter()
{
    const ShownWindow shown(Port);
    QVERIFY(shown.isActive);
    QCOMPARE(shown.focus(), Address);
    shown.bench.widget<QMenu>("menuActions")->actions().constFirst()->trigger();
    QVERIFY(!shown.widget<QSpinBox>("spinBoxAdress")->isEnabled());
    QCOMPARE(shown.focus(), Start);
}

void AccessibilityTest::focusLeavesAButtonThatCannotBePressed()
{
    const ShownWindow shown(Port);
    QVERIFY(shown.isActive);
    shown.widget<QPushButton>("updBtn")->setFocus();
    shown.widget<QLineEdit>("lineEdit")->clear();
    QVERIFY(!shown.widget<QPushButton>("updBtn")->isEnabled());
    QCOMPARE(shown.focus(), Image);
}

void AccessibilityTest::focusStaysOnTheButtonThatStopsTheUpdate()
{
    const ShownWindow shown(Port);
    QVERIFY(shown.isActive);
    shown.bench.probe().setConnectionType(0); // the button turns over, and nothing runs
    shown.widget<QPushButton>("updBtn")->setFocus();
    QTest::keyClick(shown.widget<QPushButton>("updBtn"), Qt::Key_Space);
    QCOMPARE(shown.focus(), QStringLiteral("Stop"));
    QTest::keyClick(shown.widget<QPushButton>("updBtn"), Qt::Key_Space);
    QCOMPARE(shown.focus(), Start);
}

QTEST_MAIN(AccessibilityTest)
#include "tst_accessibility.moc"
