#ifndef BRELVAN_GLOBAL_H
#define BRELVAN_GLOBAL_H

#include <QtCore/qglobal.h>

#if defined(BRELVAN_LIBRARY)
#  define BRELVANSHARED_EXPORT Q_DECL_EXPORT
#else
#  define BRELVANSHARED_EXPORT Q_DECL_IMPORT
#endif

#endif // BRELVAN_GLOBAL_H
