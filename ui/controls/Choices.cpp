#include "Choices.h"

#include <QVariantMap>

namespace {

QString folded(QString const& text)
{
    QString bare;
    for (auto const letter : text.toLower().normalized(QString::NormalizationForm_D)) {
        if (letter.category() != QChar::Mark_NonSpacing)
            bare += letter == QChar(0x0111) ? QChar(u'd') : letter; // the Vietnamese d has no form without its stroke
    }
    return bare;
}

QString foldedText(QVariant const& entry) { return folded(entry.toMap().value(QStringLiteral("text")).toString()); }

} // namespace

QVariantList Choices::holding(QVariantList const& entries, QString const& words) const
{
    auto const wanted = folded(words);
    QVariantList found;
    for (auto const& entry : entries) {
        if (foldedText(entry).contains(wanted))
            found << entry;
    }
    return found;
}

int Choices::beginningWith(QVariantList const& entries, QString const& letters, int first) const
{
    auto const wanted = folded(letters);
    auto const count = static_cast<int>(entries.size());
    for (int i = 0; i < count; ++i) {
        if (auto const at = (first + i) % count; foldedText(entries[at]).startsWith(wanted))
            return at;
    }
    return -1;
}
