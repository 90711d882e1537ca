#pragma once

#include "desktop/Sections.h"
#include "ui/Bridge.h"

#include <QVariantList>

namespace lingrelay {

/// The sidebar for the views; main. The model outlives it.
class SectionsBridge final : public QObject {
    Q_OBJECT
    // Objects of `value`, `text` and `icon`.
    Q_PROPERTY(QVariantList session READ session NOTIFY languageChanged)
    Q_PROPERTY(QVariantList settings READ settings NOTIFY languageChanged)
    Q_PROPERTY(QStringList pages READ pages CONSTANT) ///< the file that draws each section, in order
    Q_PROPERTY(QString current READ current WRITE choose NOTIFY currentChanged)
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY currentChanged)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)

public:
    explicit SectionsBridge(AppModel& model);

    QVariantList session() const { return group(Sections::Group::session); }
    QVariantList settings() const { return group(Sections::Group::settings); }
    QStringList pages() const;
    int currentIndex() const;
    /// Chooses the section that is so many rows further down, over the groups. At an end nothing happens.
    Q_INVOKABLE void step(int by);
    QString current() const { return QString::fromLatin1(m_sections.current().rawValue); }
    void choose(QString const& section) { m_sections.choose(section.toStdString()); }
    QString title() const { return toQt(m_sections.current().title()); }

    Q_SIGNAL void languageChanged();
    Q_SIGNAL void currentChanged();
    Q_SIGNAL void titleChanged();

private:
    static QVariantList group(Sections::Group group);

    Sections m_sections;
    std::string m_language;
    Subscription m_choices;
    Subscription m_settings;
};

} // namespace lingrelay
