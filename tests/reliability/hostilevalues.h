#ifndef TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H
#define TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H

#include <QRandomGenerator>
#include <QString>
#include <QStringList>

namespace TessarkTest {

// The seed of this run: TESSARK_TEST_SEED when set (to replay a failure), else
// a fresh random one. The same value for every call in one process.
quint64 runSeed();

// Text values made to break out of a quoted SQL literal: quotes of every kind,
// backslash sequences, comment and statement separators, text that reads as
// SQL, control characters, unicode (astral planes, combining marks, look-alike
// quotes), very long text and empty text. The fixed atoms come first, in
// order, so every run tries each of them; then random mixtures drawn from the
// seed. Never a NUL character and never a lone surrogate: every value is text
// that all three databases can store.
class HostileValues
{
public:
    explicit HostileValues(quint64 seed);

    QString next();
    int produced() const { return m_produced; }

    // The fixed atoms, for tests that want each of them once.
    static QStringList atoms();

private:
    QString randomCharacters(int count);
    QString mixture();

    QRandomGenerator m_random;
    QStringList m_atoms;
    int m_produced = 0;
};

} // namespace TessarkTest

#endif // TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H
