// regression FOLDER: feeds every target the files of FOLDER/TARGET, and each of them with bytes changed at random.

#include "fuzz/Target.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

using lingrelay::FuzzTarget;

int main(int, char** arguments)
{
    constexpr int variations = 20;
    int missing = 0;
    for (auto const* target : FuzzTarget::all()) {
        auto const folder = std::filesystem::path(arguments[1]) / target->name;
        std::mt19937 random(1);
        int count = 0;
        for (auto const& entry : std::filesystem::directory_iterator(folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            std::string const content(std::istreambuf_iterator<char>(file), {});
            target->run(content);
            for (int i = 0; i < variations && !content.empty(); ++i) {
                auto changed = content;
                for (unsigned change = 0; change <= random() % 4; ++change)
                    changed[random() % changed.size()] = static_cast<char>(random());
                target->run(changed);
            }
            ++count;
        }
        std::printf("%s: %d inputs\n", target->name.data(), count);
        missing += count == 0;
    }
    return missing;
}
