// SPDX-License-Identifier: MIT
#include "tests/docs/guides.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QImage>
#include <QXmlStreamReader>

namespace {

const QString EmbeddedPicture = QStringLiteral("data:image/png;base64,");

/// A page as far as it leads somewhere.
struct Page
{
    QStringList ids;      ///< what a link within the page can end in
    QStringList headings; ///< the ids of the headings
    QStringList links;
    QStringList loaded; ///< what a browser gets by itself, to show the page
    int tables = 0;
    QString text;  ///< of everything that is shown
    QString error; ///< why the page cannot be read to its end
};

Page read(const QString &html)
{
    static const QRegularExpression heading(QStringLiteral("^h[1-6]$"));
    static const QRegularExpression styleLoads(QStringLiteral(R"(url\(|@import)"));
    Page page;
    QXmlStreamReader reader(html);
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isCharacters()) {
            page.text += reader.text();
            if (reader.text().contains(styleLoads))
                page.loaded += QStringLiteral("a style");
        }
        if (!reader.isStartElement())
            continue;
        const QXmlStreamAttributes attributes = reader.attributes();
        const QString name = reader.name().toString();
        const QString id = attributes.value(QStringLiteral("id")).toString();
        if (!id.isEmpty())
            page.ids += id;
        if (heading.match(name).hasMatch())
            page.headings += id;
        if (name == QStringLiteral("a"))
            page.links += attributes.value(QStringLiteral("href")).toString();
        else if (attributes.hasAttribute(QStringLiteral("href")))
            page.loaded += attributes.value(QStringLiteral("href")).toString();
        for (const char *attribute : {"src", "srcset", "data", "poster"}) {
            if (attributes.hasAttribute(QLatin1String(attribute)))
                page.loaded += attributes.value(QLatin1String(attribute)).toString();
        }
        if (name == QStringLiteral("table"))
            ++page.tables;
        else if (name == QStringLiteral("script"))
            page.loaded += QStringLiteral("a script");
    }
    page.error = reader.errorString();
    return page;
}

bool isPicture(const QString &source)
{
    return source.startsWith(EmbeddedPicture) &&
           !QImage::fromData(QByteArray::fromBase64(source.sliced(EmbeddedPicture.size()).toLatin1()))
                .isNull();
}

/// Whether a link of the page leads to a place of the page, or to what no file has to be there for.
bool leadsSomewhere(const QString &link, const Page &page)
{
    static const QRegularExpression elsewhere(QStringLiteral("^(https?://|mailto:)[^/]"));
    return link.startsWith(u'#') ? page.ids.contains(link.sliced(1)) : elsewhere.match(link).hasMatch();
}

/// What is wrong with a page that has to work wherever it lies, by itself.
QStringList problems(const QString &html)
{
    const Page page = read(html);
    QStringList found;
    if (!page.error.isEmpty())
        found += page.error;
    for (const QString &link : page.links) {
        if (!leadsSomewhere(link, page))
            found += QStringLiteral("leads nowhere: ") + link;
    }
    for (const QString &source : page.loaded) {
        if (!isPicture(source))
            found += QStringLiteral("is no picture inside the page: ") + source.left(80);
    }
    for (const QString &id : page.ids) {
        if (page.ids.count(id) > 1)
            found += QStringLiteral("comes twice: ") + id;
    }
    return found;
}

/// The page that the packages take.
QString packedPage()
{
    QFile file(QStringLiteral(ZEPHYRIN_GUIDE));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

/// The user guide as the one HTML page that goes into the packages.
class GuidePageTest : public TestCase
{
    Q_OBJECT

private slots:
    void theCheckerSees_data();
    void theCheckerSees();
    void everyLinkAndPictureIsThere();
    void everythingOfTheGuideIsInIt();
};

void GuidePageTest::theCheckerSees_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<bool>("isGood");
    const auto row = [](const char *body, bool isGood) {
        QTest::newRow(body) << QString(QLatin1String(body)) << isGood;
    };
    row("<h2 id=\"a\">A</h2><a href=\"#a\">to it</a>", true);
    row("<h2 id=\"a\">A</h2><a href=\"#b\">to nothing</a>", false);
    row("<h2 id=\"a\">A</h2><h2 id=\"a\">A</h2>", false);
    row("<a href=\"https://norvantic.example/x\">out</a>", true);
    row("<a href=\"mailto:support@norvantic.example\">mail</a>", true);
    row("<a href=\"../README.md\">beside</a>", false);
    row("<a href=\"file:///etc/passwd\">this machine</a>", false);
    row("<img src=\"images/error.png\"/>", false);
    row("<img src=\"data:image/png;base64,AAAA\"/>", false);
    row("<img "
        "src=\"data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwAD"
        "hgGAWjR9awAAAABJRU5ErkJggg==\"/>",
        true);
    row("<link rel=\"stylesheet\" href=\"style.css\"/>", false);
    row("<style>p { background: url(x.png); }</style>", false);
    row("<script>alert(1)</script>", false);
    row("<p>not closed", false);
}

void GuidePageTest::theCheckerSees()
{
    QFETCH(const QString, body);
    QFETCH(const bool, isGood);
    QCOMPARE(problems(QStringLiteral("<html>%1</html>").arg(body)).isEmpty(), isGood);
}

void GuidePageTest::everyLinkAndPictureIsThere()
{
    const QString html = packedPage();
    QVERIFY(!html.isEmpty());
    verifyNone(problems(html));
}

void GuidePageTest::everythingOfTheGuideIsInIt()
{
    const Markdown guide = Markdown::read(UserGuide);
    const Page page = read(packedPage());
    QCOMPARE(page.headings, guide.anchors());
    QCOMPARE(page.tables, guide.tables().size());
    const QStringList targets = guide.targets();
    QCOMPARE(page.loaded.size(), targets.filter(QRegularExpression(QStringLiteral("\\.png$"))).size());
    for (const QString &target : targets)
        QVERIFY2(!target.startsWith(u'#') || page.links.contains(target), qPrintable(target));
    const QStringList codes = guide.codes();
    for (const QString &code : codes)
        QVERIFY2(page.text.contains(code), qPrintable(code));
}

QTEST_MAIN(GuidePageTest)
#include "tst_guidepage.moc"
