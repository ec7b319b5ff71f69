// SPDX-License-Identifier: MIT
#include "tests/docs/guides.h"
#include "tests/docs/sources.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace {

const QString DocumentId = QStringLiteral("SPDXRef-DOCUMENT");
const QString Nothing = QStringLiteral("NOASSERTION");

QJsonObject sbom()
{
    QFile file(QStringLiteral(ZEPHYRIN_SBOM));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

bool fits(const QString &text, const QString &pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

QString text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

/// Licences as SPDX spells them.
bool isLicence(const QString &expression)
{
    static const QStringList known{
        QStringLiteral("MIT"),
        QStringLiteral("BSD-3-Clause"),
        QStringLiteral("LGPL-3.0-only"),
        QStringLiteral("LGPL-2.1-or-later"),
        QStringLiteral("GPL-3.0-or-later WITH GCC-exception-3.1"),
    };
    const QStringList parts = expression.split(QStringLiteral(" AND "));
    return expression == Nothing ||
           std::all_of(parts.begin(), parts.end(), [](const QString &part) { return known.contains(part); });
}

QStringList documentProblems(const QJsonObject &document)
{
    QStringList found;
    const QList<std::pair<const char *, QString>> fields{
        {"spdxVersion", QStringLiteral("SPDX-2\\.3")},
        {"dataLicense", QStringLiteral("CC0-1\\.0")},
        {"SPDXID", DocumentId},
        {"name", QStringLiteral("\\S+")},
        {"documentNamespace", QStringLiteral("https://[^#\\s]+")},
    };
    for (const auto &[key, pattern] : fields) {
        if (!fits(text(document, key), pattern))
            found += QLatin1String(key);
    }
    const QJsonObject creation = document.value(QStringLiteral("creationInfo")).toObject();
    if (!fits(text(creation, "created"), QStringLiteral(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)")))
        found += QStringLiteral("created");
    const QJsonArray creators = creation.value(QStringLiteral("creators")).toArray();
    if (creators.isEmpty())
        found += QStringLiteral("creators");
    for (const QJsonValue &creator : creators) {
        if (!fits(creator.toString(), QStringLiteral("(Organization|Tool): .+")))
            found += QStringLiteral("creator ") + creator.toString();
    }
    return found;
}

QStringList packageProblems(const QJsonObject &package)
{
    QStringList found;
    if (!fits(text(package, "SPDXID"), QStringLiteral("SPDXRef-[A-Za-z0-9.-]+")))
        found += QStringLiteral("SPDXID");
    for (const char *key : {"name", "downloadLocation", "copyrightText"}) {
        if (text(package, key).isEmpty())
            found += QLatin1String(key);
    }
    if (!fits(text(package, "supplier"), QStringLiteral("Organization: .+")))
        found += QStringLiteral("supplier");
    for (const char *key : {"licenseConcluded", "licenseDeclared"}) {
        if (!isLicence(text(package, key)))
            found += QLatin1String(key);
    }
    if (package.contains(QStringLiteral("versionInfo")) &&
        !fits(text(package, "versionInfo"), QStringLiteral(R"(\d+(\.\d+)*)")))
        found += QStringLiteral("versionInfo");
    if (package.value(QStringLiteral("filesAnalyzed")).toBool(true)) // would ask for a sum over all files
        found += QStringLiteral("filesAnalyzed");
    for (const QJsonValue &reference : package.value(QStringLiteral("externalRefs")).toArray()) {
        static const QString cpe = QStringLiteral("cpe:2\\.3:a:[a-z_]+:[a-z_]+:[0-9.]+(:\\*){7}");
        if (!fits(text(reference.toObject(), "referenceLocator"), cpe))
            found += QStringLiteral("referenceLocator");
    }
    return found;
}

/// What is wrong with a list of what the program is made of, by the rules of SPDX 2.3.
QStringList problems(const QJsonObject &document)
{
    QStringList found = documentProblems(document);
    QStringList ids{DocumentId};
    for (const QJsonValue &package : document.value(QStringLiteral("packages")).toArray()) {
        for (const QString &problem : packageProblems(package.toObject()))
            found += text(package.toObject(), "name") + QStringLiteral(": ") + problem;
        const QString id = text(package.toObject(), "SPDXID");
        if (ids.contains(id))
            found += QStringLiteral("comes twice: ") + id;
        ids += id;
    }
    QStringList related{DocumentId};
    for (const QJsonValue &value : document.value(QStringLiteral("relationships")).toArray()) {
        const QJsonObject relationship = value.toObject();
        related += text(relationship, "relatedSpdxElement");
        for (const char *end : {"spdxElementId", "relatedSpdxElement"}) {
            if (!ids.contains(text(relationship, end)))
                found += QStringLiteral("relationship of nothing: ") + text(relationship, end);
        }
        if (!fits(text(relationship, "relationshipType"), QStringLiteral("DESCRIBES|DYNAMIC_LINK")))
            found += QStringLiteral("relationshipType");
    }
    for (const QString &id : ids) {
        if (!related.contains(id))
            found += QStringLiteral("stands alone: ") + id;
    }
    return found;
}

/// The component of this name; empty when there is none.
QJsonObject component(const QString &name)
{
    for (const QJsonValue &package : sbom().value(QStringLiteral("packages")).toArray()) {
        if (text(package.toObject(), "name") == name)
            return package.toObject();
    }
    return {};
}

} // namespace

/// The list of what the program is made of, which goes with each package: SPDX's required fields, and the
/// versions.
class SbomTest : public TestCase
{
    Q_OBJECT

private slots:
    void theCheckerSees_data();
    void theCheckerSees();
    void itHoldsWhatSpdxAsksFor();
    void itNamesTheVersionsOfThisBuild();
};

void SbomTest::theCheckerSees_data()
{
    QTest::addColumn<QString>("taken");
    for (const char *text :
         {"\"SPDX-2.3\"", "\"CC0-1.0\"", "\"created\"", "\"creators\"", "\"documentNamespace\"",
          "\"supplier\"", "\"downloadLocation\"", "\"licenseDeclared\"", "\"LGPL-3.0-only\"",
          "\"copyrightText\"", "\"filesAnalyzed\"", "\"DESCRIBES\"", "\"SPDXRef-qt\"", "\"cpe:2.3:a:qt:qt:"})
        QTest::newRow(text) << QString(QLatin1String(text));
}

void SbomTest::theCheckerSees()
{
    QFETCH(const QString, taken);
    QString damaged = QString::fromUtf8(QJsonDocument(sbom()).toJson());
    QVERIFY(damaged.contains(taken));
    damaged.replace(damaged.indexOf(taken) + 1, 1, QStringLiteral("?"));
    const QJsonObject document = QJsonDocument::fromJson(damaged.toUtf8()).object();
    QVERIFY(!document.isEmpty());
    QVERIFY(!problems(document).isEmpty());
}

void SbomTest::itHoldsWhatSpdxAsksFor()
{
    verifyNone(problems(sbom()));
}

void SbomTest::itNamesTheVersionsOfThisBuild()
{
    static const QRegularExpression version(QStringLiteral(R"(\n *VERSION (\S+))"));
    const QString ofProject = version.match(fileText(QStringLiteral("CMakeLists.txt"))).captured(1);
    QVERIFY(!ofProject.isEmpty());
    QCOMPARE(text(component(QStringLiteral("zephyrin-update-utility")), "versionInfo"), ofProject);
    QCOMPARE(text(component(QStringLiteral("Qt")), "versionInfo"), QString::fromLatin1(qVersion()));
}

QTEST_GUILESS_MAIN(SbomTest)
#include "tst_sbom.moc"
