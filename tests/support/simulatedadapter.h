// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20.h"
#include "sub20/sub20library.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QSaveFile>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

/// The simulated adapter library in this process, with a fresh simulation for as long as this object lives.
/// Sub20::instance() asks the system for the library and gets this one: on Linux, by its bare name, because
/// it is loaded already; on Windows only in a test that lies beside it.
class SimulatedAdapter
{
public:
    explicit SimulatedAdapter(int adapters = 1)
    {
        QVERIFY2(library().functions, qPrintable(library().problem));
        setAdapters(adapters);
        set("ADAPTERS_FILE", file("adapters").toLocal8Bit());
        set("LOG", file("log").toLocal8Bit());
        set("IR_IMAGE", file("infrared").toLocal8Bit());
        set("RS_IMAGE", file("modbus").toLocal8Bit());
    }
    ~SimulatedAdapter()
    {
        for (const QByteArray &variable : variables)
            qunsetenv(variable.constData());
        qputenv("ZEPHYRIN_SUB20_ADAPTERS", "0");
    }
    SimulatedAdapter(const SimulatedAdapter &) = delete;
    SimulatedAdapter &operator=(const SimulatedAdapter &) = delete;

    /// The one binding to the simulated library, of all simulations.
    Sub20 &binding() const
    {
        static Sub20 bound(library().functions.value());
        return bound;
    }

    /// Sets a variable of the simulation, named without its prefix. Not while a loader runs.
    void set(const QByteArray &variable, const QByteArray &value)
    {
        variables += "ZEPHYRIN_SUB20_" + variable;
        qputenv(variables.constLast().constData(), value);
    }
    /// Plugs adapters in or pulls them out; at any time.
    void setAdapters(int adapters) const
    {
        QSaveFile number(file("adapters")); // a loader may look at any moment
        QVERIFY(number.open(QIODevice::WriteOnly));
        number.write(QByteArray::number(adapters));
        QVERIFY(number.commit());
    }

    /// The calls so far, a line a call.
    QStringList log() const
    {
        return QString::fromLocal8Bit(content("log")).split(u'\n', Qt::SkipEmptyParts);
    }
    /// The calls of one function so far.
    QStringList calls(const QString &function) const { return log().filter(function + u' '); }
    QByteArray infraredImage() const { return content("infrared"); }
    QByteArray modbusImage() const { return content("modbus"); }

private:
    /// Loaded once, and for good.
    static const Sub20Library &library()
    {
        static const Sub20Library loaded = loadSub20Library(QStringLiteral(SUB20_SIMULATOR));
        return loaded;
    }
    QString file(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }
    QByteArray content(const char *name) const
    {
        QFile stored(file(name));
        return stored.open(QIODevice::ReadOnly) ? stored.readAll() : QByteArray();
    }

    QTemporaryDir folder;
    QList<QByteArray> variables;
};
