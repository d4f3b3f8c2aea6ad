#ifndef TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H
#define TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H

#include <QRandomGenerator>
#include <QString>
#include <QStringList>

namespace TessarkTest {

// This process's seed: TESSARK_TEST_SEED when set (to replay a failure), else random.
quint64 runSeed();

// Text made to break out of a quoted SQL literal. The fixed atoms come first,
// so every run tries each of them, then random mixtures drawn from the seed.
// Never a NUL and never a lone surrogate: all three databases can store it.
class HostileValues
{
public:
    explicit HostileValues(quint64 seed);
    QString next();

private:
    QString randomCharacters(int count);
    QString mixture();

    QRandomGenerator m_random;
    QStringList m_atoms;
    int m_produced = 0;
};

} // namespace TessarkTest

#endif // TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H
