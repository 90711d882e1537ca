#pragma once

#include "tests/service/Client.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace lingrelay::service {

/// A service that plays a script, which is written to a file of its own.
class Scripted {
public:
    explicit Scripted(Json script)
        : m_folder(std::filesystem::temp_directory_path() / fmt::format("service-test-{}", ::getpid()))
    {
        std::filesystem::create_directories(m_folder);
        script["record"] = (m_folder / "record.jsonl").string();
        std::ofstream(m_folder / "script.json") << script;
        service = std::make_unique<ServiceProcess>(
            std::vector<std::string>{"--script", (m_folder / "script.json").string()});
    }
    ~Scripted()
    {
        service.reset();
        std::filesystem::remove_all(m_folder);
    }

    Client stt() const { return {service->port, "/transcribe-websocket", ""}; }
    Client tts() const { return {service->port, "/tts-websocket", ""}; }
    std::vector<Json> record() const
    {
        std::vector<Json> lines;
        std::ifstream file(m_folder / "record.jsonl");
        for (std::string line; std::getline(file, line);)
            lines.push_back(Json::parse(line));
        return lines;
    }

    std::unique_ptr<ServiceProcess> service;

private:
    std::filesystem::path m_folder;
};

} // namespace lingrelay::service
