#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <pipewire/pipewire.h>

namespace lingrelay {

/// A mirror of the server's objects with their properties. All on the connection's loop.
class PipeWireObjects {
public:
    using Properties = std::map<std::string, std::string, std::less<>>;
    struct Object {
        std::uint32_t id = 0;
        std::string type;
        Properties properties;
        /// Of an audio node: the properties are all there, not only the registry's. Of a link: sound can flow.
        bool complete = true;

        std::string const& get(std::string_view key) const;
        std::uint32_t number(std::string_view key) const; ///< PW_ID_ANY when there is none
    };
    using Objects = std::map<std::uint32_t, Object>;

    /// `changed` is called when an object has become complete or other, in the library's callbacks.
    explicit PipeWireObjects(std::function<void()> changed) : m_changed(std::move(changed)) { }
    PipeWireObjects(PipeWireObjects const&) = delete;
    PipeWireObjects& operator=(PipeWireObjects const&) = delete;

    Object const& add(pw_registry* registry, std::uint32_t id, char const* type, spa_dict const* properties);
    void remove(std::uint32_t id);
    void clear();

    Objects const& all() const { return m_objects; }
    Object const* find(std::uint32_t id) const;
    Object const* node(std::string_view name) const;
    /// The ports of a node, in the order of its channels. A port that gives sound is "out": a microphone's, or an
    /// output's monitor.
    std::vector<Object const*> ports(std::uint32_t node, std::string_view direction) const;

private:
    struct Watch {
        PipeWireObjects* objects = nullptr;
        std::uint32_t id = 0;
        pw_proxy* proxy = nullptr;
        spa_hook listener{};

        ~Watch();
    };

    static void onNodeInfo(void* watch, pw_node_info const* info);
    static void onLinkInfo(void* watch, pw_link_info const* info);
    void watch(pw_registry* registry, Object const& object);

    std::function<void()> m_changed;
    Objects m_objects;
    std::map<std::uint32_t, std::unique_ptr<Watch>> m_watches; ///< of audio nodes and links
};

} // namespace lingrelay
