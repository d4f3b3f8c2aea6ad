#include "hostilevalues.h"

#include <QStringList>

namespace TessarkTest {

quint64 runSeed()
{
    static const quint64 seed = [] {
        bool ok = false;
        const quint64 given = qEnvironmentVariable("TESSARK_TEST_SEED").toULongLong(&ok);
        return ok ? given : QRandomGenerator::global()->generate64();
    }();
    return seed;
}

namespace {

const QStringList atoms = {
    // Quotes alone, doubled, unbalanced and mixed.
    QStringLiteral("'"), QStringLiteral("''"), QStringLiteral("'''"), QStringLiteral("O'Brien"), QStringLiteral("\""),
    QStringLiteral("\"quoted\""), QStringLiteral("`x`"), QStringLiteral("'\"`"),
    // Backslash sequences (MySQL reads escapes inside '...').
    QStringLiteral("\\"), QStringLiteral("\\\\"), QStringLiteral("\\'"), QStringLiteral("'\\"), QStringLiteral("\\\""),
    QStringLiteral("\\0"), QStringLiteral("\\n\\r\\t\\Z\\b"), QStringLiteral("\\%\\_"), QStringLiteral("ends in \\"),
    // Comments, separators and text that reads as SQL.
    QStringLiteral("-- comment"), QStringLiteral("/*"), QStringLiteral("#"), QStringLiteral(";"),
    QStringLiteral("'; DROP TABLE t; --"), QStringLiteral("' OR '1'='1"), QStringLiteral("\\'; DROP TABLE t; -- "),
    QStringLiteral("''; DROP TABLE t; --"), QStringLiteral("NULL"), QStringLiteral("$$"),
    QStringLiteral("$tag$ x $tag$"), QStringLiteral("E'\\x41'"), QStringLiteral("U&'\\0041'"), QStringLiteral("?"),
    QStringLiteral(":name"), QStringLiteral("%1 %2"), QStringLiteral("%s %d %n"),
    // Whitespace and control characters.
    QStringLiteral("  lead and trail  "), QStringLiteral("\r\n"), QStringLiteral("\x01\x02\x1a\x1b\x1f\x7f"),
    // Unicode: other scripts, combining, astral, invisible, and quote look-alikes some conversions fold into '.
    QStringLiteral("\u4e2d\u6587"), QStringLiteral("\u0645\u0631\u062d\u0628\u0627"), QStringLiteral("e\u0301\u0308"),
    QStringLiteral("\U0001F600\U0001F4A9"), QStringLiteral("\uFEFF"), QStringLiteral("\u200B\u2028"),
    QStringLiteral("\u2019\u02BC\uFF07\u2032"), QStringLiteral("\u201C\uFF02\uFF3C"), QStringLiteral("\u00A5\u20A9"),
    QStringLiteral("\u202Eevil"), QStringLiteral("\U0010FFFD"), QString(),
};

QString randomCharacters(QRandomGenerator& random, int count)
{
    static const QString dangerous = QStringLiteral("'\"`\\;-/*#%$?:@_ \t\n\r");
    QString text;
    for (int i = 0; i < count; ++i) {
        const quint32 pick = random.bounded(100u);
        char32_t code = pick < 35 ? dangerous.at(int(random.bounded(quint32(dangerous.size())))).unicode()
            : pick < 65           ? 0x20 + random.bounded(0x5fu)      // printable ASCII
            : pick < 70           ? 1 + random.bounded(0x1fu)         // control characters, never NUL
            : pick < 80           ? 0x80 + random.bounded(0x780u)     // Latin to Arabic
            : pick < 92           ? 0x800 + random.bounded(0xF7FEu)   // the rest of the basic plane
                                  : 0x10000 + random.bounded(0xFFFF0u); // astral planes
        if (code >= 0xD800 && code <= 0xDFFF)
            code = 0x2019; // a look-alike quote instead of a lone surrogate
        text += QString::fromUcs4(&code, 1);
    }
    return text;
}

} // namespace

QString HostileValues::next()
{
    if (m_produced < atoms.size())
        return atoms.at(m_produced++);
    QString text;
    for (int pieces = 1 + int(m_random.bounded(6u)); pieces > 0; --pieces)
        text += m_random.bounded(2u) ? atoms.at(int(m_random.bounded(quint32(atoms.size()))))
                                     : randomCharacters(m_random, 1 + int(m_random.bounded(12u)));
    // Now and then a long one: a quote at the far end of a long text is still inside it.
    if (m_random.bounded(100u) == 0) {
        const QString unit = text.isEmpty() ? QStringLiteral("'") : text;
        const int length = 1000 + int(m_random.bounded(7000u));
        while (text.size() < length)
            text += unit;
        text += QLatin1Char('\'');
    }
    return text;
}

} // namespace TessarkTest
