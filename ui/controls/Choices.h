#pragma once

#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

/// Finds entries of a list of choices by what the user types. Case and accents do not matter. Entries are objects with
/// a `text`. Main.
class Choices : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// Those that hold the words, in order.
    Q_INVOKABLE QVariantList holding(QVariantList const& entries, QString const& words) const;
    /// The index of the first entry, from `first` on and round, that begins with the letters; -1 when none does.
    Q_INVOKABLE int beginningWith(QVariantList const& entries, QString const& letters, int first) const;
};
