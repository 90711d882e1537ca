#include "config/AppSettings.h"

#include "config/KeyStore.h"
#include "platform/Defaults.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr AppSettings::Mode allModes[] = {AppSettings::Mode::listen, AppSettings::Mode::speak, AppSettings::Mode::both};

bool isStored(std::string_view name) { return name != "sampleRate"; }
bool isSaved(std::string_view name) { return isStored(name) && name != "gender"; }

void read(Defaults const& store, std::string const& key, std::string& field)
{
    if (auto text = store.string(key))
        field = std::move(*text);
}

void read(Defaults const& store, std::string const& key, AppSettings::Mode& field)
{
    field = AppSettings::modeFromRawValue(store.string(key).value_or("")).value_or(AppSettings::Mode::listen);
}

void read(Defaults const& store, std::string const& key, bool& field)
{
    if (store.value(key))
        field = store.boolean(key);
}

void read(Defaults const& store, std::string const& key, std::int64_t& field)
{
    if (store.value(key))
        field = store.integer(key);
}

void read(Defaults const& store, std::string const& key, double& field)
{
    if (store.value(key))
        field = store.number(key);
}

void read(Defaults const& store, std::string const& key, std::map<std::string, std::string>& field)
{
    field.clear();
    auto const stored = store.value(key);
    auto const isText = [](Json const& value) { return value.is_string(); };
    if (stored && stored->is_object() && std::all_of(stored->begin(), stored->end(), isText))
        field = stored->get<std::map<std::string, std::string>>();
}

Json stored(AppSettings::Mode mode) { return rawValue(mode); }
template <class T> Json stored(T const& value) { return value; }

} // namespace

std::optional<AppSettings::Mode> AppSettings::modeFromRawValue(std::string_view rawValue)
{
    for (auto const mode : allModes) {
        if (rawValue == lingrelay::rawValue(mode))
            return mode;
    }
    return {};
}

char const* rawValue(AppSettings::Mode mode)
{
    switch (mode) {
    case AppSettings::Mode::listen:
        return "listen";
    case AppSettings::Mode::speak:
        return "speak";
    case AppSettings::Mode::both:
        return "both";
    }
    return "";
}

AppSettings AppSettings::load()
{
    AppSettings settings;
    auto const& store = KeyStore::d();
    forEachField([&](char const* name, auto member) {
        if (isStored(name))
            read(store, name, settings.*member);
    });
    return settings;
}

void AppSettings::save() const
{
    auto& store = KeyStore::d();
    forEachField([&](char const* name, auto member) {
        if (isSaved(name))
            store.set(name, stored(this->*member));
    });
}

AppSettings AppSettings::listenRecord(std::int64_t captureRate) const
{
    auto record = *this;
    record.sampleRate = captureRate;
    return record;
}

AppSettings AppSettings::speakRecord() const
{
    auto record = *this;
    record.sourceLang = myLang;
    record.targetLang = theirLang;
    record.sampleRate = 16000;
    return record;
}

} // namespace lingrelay
