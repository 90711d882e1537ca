#include <QAccessible>
#include <QDir>
#include <QFont>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtPlugin>
#include <QtQuickTest/quicktest.h>

Q_IMPORT_PLUGIN(Lingrelay_ControlsPlugin)

// What a screen reader sees of an item, and what it can do with it.
class Reader : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE QString name(QQuickItem* item) const { return text(item, QAccessible::Name); }
    Q_INVOKABLE QString description(QQuickItem* item) const { return text(item, QAccessible::Description); }
    Q_INVOKABLE bool isChecked(QQuickItem* item) const
    {
        auto const* const seen = QAccessible::queryAccessibleInterface(item);
        return seen && seen->state().checked;
    }
    Q_INVOKABLE QVariant value(QQuickItem* item) const
    {
        auto* const seen = QAccessible::queryAccessibleInterface(item);
        return seen && seen->valueInterface() ? seen->valueInterface()->currentValue() : QVariant();
    }
    Q_INVOKABLE bool setValue(QQuickItem* item, double value)
    {
        auto* const seen = QAccessible::queryAccessibleInterface(item);
        if (!seen || !seen->valueInterface())
            return false;
        seen->valueInterface()->setCurrentValue(value);
        return true;
    }
    // False when the item offers no such action.
    Q_INVOKABLE bool act(QQuickItem* item, QString const& action)
    {
        auto* const seen = QAccessible::queryAccessibleInterface(item);
        if (!seen || !seen->actionInterface() || !seen->actionInterface()->actionNames().contains(action))
            return false;
        seen->actionInterface()->doAction(action);
        return true;
    }

private:
    static QString text(QQuickItem* item, QAccessible::Text kind)
    {
        auto const* const seen = QAccessible::queryAccessibleInterface(item);
        return seen ? seen->text(kind) : QString();
    }
};

// Saves a window as it is drawn, when pictures are asked for.
class Pictures : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE bool wanted() const { return !m_folder.isEmpty(); }
    Q_INVOKABLE void save(QQuickWindow* window, QString const& name) const
    {
        if (wanted() && !window->grabWindow().save(m_folder + QLatin1Char('/') + name + QStringLiteral(".png")))
            qWarning("no picture could be saved");
    }

private:
    QString m_folder = qEnvironmentVariable("CONTROLS_PICTURES");
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        QAccessible::setActive(true);
        QFont font(QStringLiteral("Inter"));
        font.setPixelSize(13);
        QGuiApplication::setFont(font);
    }
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        engine->globalObject().setProperty(
            QStringLiteral("T"), engine->evaluate(QStringLiteral("(english, vietnamese) => english")));
        engine->rootContext()->setContextProperty(QStringLiteral("Reader"), &m_reader);
        engine->rootContext()->setContextProperty(QStringLiteral("iconNames"),
            QDir(QStringLiteral(":/qt/qml/Lingrelay/Controls/icons")).entryList().replaceInStrings(".svg", ""));
        engine->rootContext()->setContextProperty(QStringLiteral("Pictures"), &m_pictures);
    }

private:
    Reader m_reader;
    Pictures m_pictures;
};

QUICK_TEST_MAIN_WITH_SETUP(controls, Setup)

#include "ControlsTest.moc"
