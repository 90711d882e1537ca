#pragma once

#include "desktop/Sections.h"
#include "ui/Bridge.h"

#include <QVariantList>

namespace lingrelay {

/// The sidebar for the views; main. The model outlives it.
class SectionsBridge final : public QObject {
    Q_OBJECT
    /// Objects of `value`, `text`, `icon` and `group` ("session" or "settings").
    Q_PROPERTY(QVariantList all READ all NOTIFY languageChanged)
    Q_PROPERTY(QString current READ current WRITE choose NOTIFY currentChanged)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)

public:
    explicit SectionsBridge(AppModel& model);

    QVariantList all() const;
    QString current() const { return QString::fromLatin1(m_sections.current().rawValue); }
    void choose(QString const& section) { m_sections.choose(section.toStdString()); }
    QString title() const { return toQt(m_sections.current().title()); }

    Q_SIGNAL void languageChanged();
    Q_SIGNAL void currentChanged();
    Q_SIGNAL void titleChanged();

private:
    Sections m_sections;
    std::string m_language;
    Subscription m_choices;
    Subscription m_settings;
};

} // namespace lingrelay
