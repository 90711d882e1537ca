#pragma once

#include <memory>
#include <variant>

namespace lingrelay {

/// Takes the other programs' sound off the local outputs while it can still be captured; main.
class SoundMuter {
public:
    /// All other programs are silent while it lives, also those that begin to play meanwhile; this program is not. They
    /// are heard again, each on its own device, when it is destroyed and when the process ends in whatever way.
    class Silence {
    public:
        virtual ~Silence() = default;
    };
    /// What could not be made: the place that swallows the sound, or the way there.
    enum class Step { tap, device };
    struct Failure {
        Step step = Step::tap;
        int status = 0; ///< the system's number
    };

    virtual ~SoundMuter() = default;

    /// Not while another silence lives.
    virtual std::variant<std::unique_ptr<Silence>, Failure> silence() = 0;
};

} // namespace lingrelay
