#pragma once

#include "base/Observable.h"
#include "model/AppModel.h"

#include <QObject>
#include <QString>

#include <string>

namespace lingrelay {

inline QString toQt(std::string const& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline QString toQt(char const* text) { return QString::fromUtf8(text); }
inline QString toQt(AppModel::StatusKind kind) { return toQt(rawValue(kind)); }
inline bool toQt(bool value) { return value; }
inline double toQt(double value) { return value; }

} // namespace lingrelay

/// A read-only property of a QObject that follows the observable of the same name in its `m_model`, which is declared
/// before it. The views learn of every assignment.
#define LINGRELAY_BRIDGED(QtType, name)                                                                                \
    Q_PROPERTY(QtType name READ name NOTIFY name##Changed)                                                             \
public:                                                                                                                \
    QtType name() const { return toQt(m_model.name.get()); }                                                           \
    Q_SIGNAL void name##Changed();                                                                                     \
                                                                                                                       \
private:                                                                                                               \
    Subscription m_##name##Watch = m_model.name.observe([this](auto const&) { Q_EMIT name##Changed(); });
