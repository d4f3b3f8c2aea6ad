#include "hostilevalues.h"

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

QStringList atoms()
{
    return {
        // Quotes, alone, doubled, unbalanced and mixed.
        QStringLiteral("'"), QStringLiteral("''"), QStringLiteral("'''"), QStringLiteral("O'Brien"),
        QStringLiteral("\""), QStringLiteral("\"\""), QStringLiteral("\"quoted\""), QStringLiteral("`"),
        QStringLiteral("`x`"), QStringLiteral("'\"`"), QStringLiteral("it's \"fine\""),
        // Backslash sequences (MySQL reads escapes inside '...').
        QStringLiteral("\\"), QStringLiteral("\\\\"), QStringLiteral("\\'"), QStringLiteral("'\\"),
        QStringLiteral("\\\""), QStringLiteral("\\0"), QStringLiteral("\\n\\r\\t\\Z\\b"),
        QStringLiteral("\\%\\_"), QStringLiteral("\\x27"), QStringLiteral("\\u0027"), QStringLiteral("ends in \\"),
        // Comments, separators and text that reads as SQL.
        QStringLiteral("--"), QStringLiteral("-- comment"), QStringLiteral("/*"), QStringLiteral("*/"),
        QStringLiteral("/* c */"), QStringLiteral("#"), QStringLiteral(";"), QStringLiteral(";;"),
        QStringLiteral("'; DROP TABLE t; --"), QStringLiteral("x'); DELETE FROM t; --"),
        QStringLiteral("' OR '1'='1"), QStringLiteral("' OR 1=1 --"), QStringLiteral("\" OR \"\"=\""),
        QStringLiteral("1; SELECT 1"), QStringLiteral("') UNION SELECT * FROM t --"),
        QStringLiteral("\\'; DROP TABLE t; -- "), QStringLiteral("''; DROP TABLE t; --"),
        QStringLiteral("SELECT * FROM t"), QStringLiteral("NULL"), QStringLiteral("null"), QStringLiteral("DEFAULT"),
        QStringLiteral("$$"), QStringLiteral("$tag$ x $tag$"), QStringLiteral("E'\\x41'"), QStringLiteral("N'x'"),
        QStringLiteral("U&'\\0041'"), QStringLiteral("?"), QStringLiteral(":name"), QStringLiteral("@v"),
        QStringLiteral("%"), QStringLiteral("%1 %2"), QStringLiteral("%L1"), QStringLiteral("%s %d %n"),
        QStringLiteral("_"), QStringLiteral("*"), QStringLiteral("0x27"), QStringLiteral("CHAR(39)"),
        // Whitespace and control characters (no NUL).
        QStringLiteral(" "), QStringLiteral("  lead and trail  "), QStringLiteral("\t"), QStringLiteral("\n"),
        QStringLiteral("\r\n"), QStringLiteral("line1\nline2"), QStringLiteral("\x01\x02\x1a\x1b\x1f\x7f"),
        QStringLiteral("\b\f\v"),
        // Unicode: right-to-left, combining, astral, invisible, and quote look-alikes some conversions fold into '.
        QStringLiteral("\u4e2d\u6587"), QStringLiteral("\u0645\u0631\u062d\u0628\u0627"),
        QStringLiteral("e\u0301\u0308"), QStringLiteral("\U0001F600\U0001F4A9"), QStringLiteral("\U0001D11E"),
        QStringLiteral("\uFEFF"), QStringLiteral("\u200B\u200D"), QStringLiteral("\u2028\u2029"),
        QStringLiteral("\u2019\u02BC\uFF07\u2032"), QStringLiteral("\u201C\u201D\uFF02"), QStringLiteral("\uFF3C"),
        QStringLiteral("\u00A5\u20A9"), QStringLiteral("\u00FF\u00E9\u00DF"), QStringLiteral("\uFFFD"),
        QStringLiteral("\u202Eevil"), QStringLiteral("\U0010FFFD"),
        // Empty text.
        QString(),
    };
}

} // namespace

HostileValues::HostileValues(quint64 seed) : m_random(seed), m_atoms(atoms()) {}

QString HostileValues::randomCharacters(int count)
{
    static const QString dangerous = QStringLiteral("'\"`\\;-/*#%$?:@_ \t\n\r");
    QString text;
    for (int i = 0; i < count; ++i) {
        const quint32 pick = m_random.bounded(100u);
        char32_t code = pick < 35 ? dangerous.at(int(m_random.bounded(quint32(dangerous.size())))).unicode()
            : pick < 65           ? 0x20 + m_random.bounded(0x5fu)      // printable ASCII
            : pick < 70           ? 1 + m_random.bounded(0x1fu)         // control characters, never NUL
            : pick < 80           ? 0x80 + m_random.bounded(0x780u)     // Latin, Greek, Cyrillic, Hebrew, Arabic
            : pick < 92           ? 0x800 + m_random.bounded(0xF7FEu)   // the rest of the basic plane
                                  : 0x10000 + m_random.bounded(0xFFFF0u); // astral planes
        if (code >= 0xD800 && code <= 0xDFFF)
            code = 0x2019; // a look-alike quote instead of a lone surrogate
        text += QString::fromUcs4(&code, 1);
    }
    return text;
}

QString HostileValues::mixture()
{
    QString text;
    const int pieces = 1 + int(m_random.bounded(6u));
    for (int i = 0; i < pieces; ++i) {
        if (m_random.bounded(2u))
            text += m_atoms.at(int(m_random.bounded(quint32(m_atoms.size()))));
        else
            text += randomCharacters(1 + int(m_random.bounded(12u)));
    }
    // Now and then a long one: a quote at the far end of a long text is still inside it.
    if (m_random.bounded(100u) == 0) {
        const int length = 1000 + int(m_random.bounded(7000u));
        QString longText;
        while (longText.size() < length)
            longText += text.isEmpty() ? QStringLiteral("'") : text;
        text = longText + QLatin1Char('\'');
    }
    return text;
}

QString HostileValues::next()
{
    return m_produced < m_atoms.size() ? m_atoms.at(m_produced++) : mixture();
}

} // namespace TessarkTest
