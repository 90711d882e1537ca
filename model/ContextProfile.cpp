#include "model/ContextProfile.h"

#include "base/Text.h"
#include "base/Uuid.h"
#include "config/KeyStore.h"
#include "platform/Defaults.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr auto storeKey = "context.profiles";
constexpr std::size_t transcriptLimit = 12000;
constexpr std::size_t termLimit = 150;
constexpr std::size_t glossaryLimit = 80;

Json generalEntries(ContextProfile const& profile)
{
    auto entries = Json::array();
    auto const add = [&](char const* key, std::string const& value) {
        if (!value.empty())
            entries.push_back({{"key", key}, {"value", value}});
    };
    add("domain", profile.domain);
    add("topic", profile.topic);
    add("participants", profile.participants);
    return entries;
}

std::string backgroundText(std::string const& notes, std::string_view rollingTranscript)
{
    if (rollingTranscript.empty())
        return notes;
    CharacterText tail;
    tail.append(rollingTranscript);
    tail.keepLast(transcriptLimit);
    return notes.empty() ? std::string(tail.text()) : notes + "\n\n" + std::string(tail.text());
}

/// The user's words first, so that learned ones are those that fall away.
Json keptTerms(ContextProfile const& profile)
{
    auto kept = Json::array();
    auto const add = [&](std::vector<std::string> const& terms) {
        for (auto const& term : terms) {
            auto const trimmed = trimBlanks(term);
            if (!trimmed.empty() && kept.size() < termLimit)
                kept.push_back(std::string(trimmed));
        }
    };
    add(profile.terms);
    if (profile.autoTerms)
        add(*profile.autoTerms);
    return kept;
}

Json keptGlossary(std::vector<ContextProfile::Glossary> const& glossary)
{
    std::vector<ContextProfile::Glossary const*> valid;
    for (auto const& entry : glossary) {
        if (!trimBlanks(entry.source).empty() && !trimBlanks(entry.target).empty())
            valid.push_back(&entry);
    }
    auto kept = Json::array();
    for (auto i = valid.size() - std::min(valid.size(), glossaryLimit); i < valid.size(); ++i)
        kept.push_back({{"source", valid[i]->source}, {"target", valid[i]->target}});
    return kept;
}

/// Reads required members of one object; `good` turns false at the first that is missing or of a wrong type.
struct Reader {
    Json const& object;
    bool good = true;

    void text(char const* key, std::string& field)
    {
        auto value = jsonString(object, key);
        good = good && value;
        if (value)
            field = std::move(*value);
    }
    void uuid(char const* key, std::string& field)
    {
        text(key, field);
        good = good && isUuid(field);
        std::transform(field.begin(), field.end(), field.begin(), [](unsigned char c) { return std::toupper(c); });
    }
    void texts(char const* key, std::vector<std::string>& field)
    {
        auto const* list = jsonMember(object, key);
        good = good && list && list->is_array()
            && std::all_of(list->begin(), list->end(), [](Json const& value) { return value.is_string(); });
        if (good)
            field = list->get<std::vector<std::string>>();
    }
    /// A null counts as absent.
    bool has(char const* key) const
    {
        auto const* member = jsonMember(object, key);
        return member && !member->is_null();
    }
};

std::optional<ContextProfile::Glossary> readGlossary(Json const& stored)
{
    ContextProfile::Glossary entry;
    Reader reader{stored};
    reader.uuid("id", entry.id);
    reader.text("source", entry.source);
    reader.text("target", entry.target);
    return reader.good ? std::optional(entry) : std::nullopt;
}

std::optional<ContextProfile> readProfile(Json const& stored)
{
    ContextProfile profile;
    Reader reader{stored};
    reader.uuid("id", profile.id);
    reader.text("name", profile.name);
    reader.text("domain", profile.domain);
    reader.text("topic", profile.topic);
    reader.text("participants", profile.participants);
    reader.text("notes", profile.notes);
    reader.texts("terms", profile.terms);
    if (reader.has("autoTerms"))
        reader.texts("autoTerms", profile.autoTerms.emplace());
    if (reader.has("autoTopic"))
        reader.text("autoTopic", profile.autoTopic.emplace());
    auto const* glossary = jsonMember(stored, "glossary");
    if (!reader.good || !glossary || !glossary->is_array())
        return {};
    for (auto const& item : *glossary) {
        auto entry = readGlossary(item);
        if (!entry)
            return {};
        profile.glossary.push_back(std::move(*entry));
    }
    return profile;
}

Json storedForm(ContextProfile const& profile)
{
    Json stored{{"id", profile.id}, {"name", profile.name}, {"domain", profile.domain}, {"topic", profile.topic},
        {"participants", profile.participants}, {"notes", profile.notes}, {"terms", profile.terms},
        {"glossary", Json::array()}};
    if (profile.autoTerms)
        stored["autoTerms"] = *profile.autoTerms;
    if (profile.autoTopic)
        stored["autoTopic"] = *profile.autoTopic;
    for (auto const& entry : profile.glossary)
        stored["glossary"].push_back({{"id", entry.id}, {"source", entry.source}, {"target", entry.target}});
    return stored;
}

} // namespace

bool ContextProfile::isEmpty() const
{
    return domain.empty() && topic.empty() && participants.empty() && notes.empty() && terms.empty()
        && glossary.empty();
}

std::optional<Json> ContextProfile::payload(std::string_view rollingTranscript) const
{
    auto payload = Json::object();
    auto const add = [&](char const* key, Json value) {
        if (!value.empty())
            payload[key] = std::move(value);
    };
    add("general", generalEntries(*this));
    if (auto text = backgroundText(notes, rollingTranscript); !text.empty())
        payload["text"] = std::move(text);
    add("terms", keptTerms(*this));
    add("translation_terms", keptGlossary(glossary));
    if (payload.empty())
        return {};
    return payload;
}

std::vector<ContextProfile> ContextProfile::load()
{
    return listFromText(KeyStore::d().string(storeKey).value_or("")).value_or(std::vector<ContextProfile>());
}

void ContextProfile::save(std::vector<ContextProfile> const& list) { KeyStore::d().set(storeKey, listText(list)); }

std::optional<std::vector<ContextProfile>> ContextProfile::listFromText(std::string_view text)
{
    auto const stored = parseJson(text);
    if (!stored || !stored->is_array())
        return {};
    std::vector<ContextProfile> list;
    for (auto const& item : *stored) {
        auto profile = readProfile(item);
        if (!profile)
            return {};
        list.push_back(std::move(*profile));
    }
    return list;
}

std::string ContextProfile::listText(std::vector<ContextProfile> const& list)
{
    auto stored = Json::array();
    for (auto const& profile : list)
        stored.push_back(storedForm(profile));
    return jsonText(stored);
}

} // namespace lingrelay
