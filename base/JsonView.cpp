#include "base/JsonView.h"

#include <bit>

#include <simdjson.h>

namespace lingrelay {

namespace dom = simdjson::dom;

namespace {

template <class Element> dom::element at(Element const& element) { return std::bit_cast<dom::element>(element); }

template <class Value> std::optional<Value> valueOf(simdjson::simdjson_result<Value>&& result)
{
    Value value{};
    return std::move(result).get(value) ? std::nullopt : std::optional(value);
}

} // namespace

struct JsonReader::Parser {
    dom::parser parser;
};

JsonReader::JsonReader() : m_parser(std::make_unique<Parser>()) { }
JsonReader::~JsonReader() = default;

std::optional<JsonView> JsonReader::read(std::string_view text)
{
    if (text.starts_with("\xef\xbb\xbf")) // a byte order mark
        text.remove_prefix(3);
    dom::element element;
    if (m_parser->parser.parse(text.data(), text.size()).get(element))
        return {};
    return JsonView(std::bit_cast<JsonView::Element>(element));
}

bool JsonView::isObject() const { return at(m_element).is_object(); }

std::optional<JsonView> JsonView::member(std::string_view key) const
{
    dom::object object;
    dom::element found;
    if (at(m_element).get(object) || object.at_key(key).get(found))
        return {};
    return JsonView(std::bit_cast<Element>(found));
}

std::optional<std::vector<JsonView>> JsonView::items() const
{
    dom::array array;
    if (at(m_element).get(array))
        return {};
    std::vector<JsonView> result;
    result.reserve(array.size());
    for (dom::element const item : array)
        result.push_back(JsonView(std::bit_cast<Element>(item)));
    return result;
}

std::optional<std::string_view> JsonView::string() const { return valueOf(at(m_element).get_string()); }
std::optional<std::int64_t> JsonView::integer() const { return valueOf(at(m_element).get_int64()); }
std::optional<bool> JsonView::boolean() const { return valueOf(at(m_element).get_bool()); }

std::string JsonView::printed() const
{
    auto const text = string();
    return text ? std::string(*text) : simdjson::minify(at(m_element));
}

std::optional<std::string_view> JsonView::string(std::string_view key) const
{
    auto const found = member(key);
    return found ? found->string() : std::nullopt;
}

std::optional<std::int64_t> JsonView::integer(std::string_view key) const
{
    auto const found = member(key);
    return found ? found->integer() : std::nullopt;
}

std::optional<bool> JsonView::boolean(std::string_view key) const
{
    auto const found = member(key);
    return found ? found->boolean() : std::nullopt;
}

} // namespace lingrelay
