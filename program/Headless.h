#pragma once

#include "desktop/AppShell.h"
#include "desktop/OverlayWindow.h"
#include "desktop/PushToTalk.h"
#include "platform/Workspace.h"

// What stands in for a desktop where there is none: nothing to show, nobody to ask.

namespace lingrelay {

class NoShell : public AppShell {
public:
    void buildMenu() override { }
    void setStatusItemVisible(bool) override { }
    void showMainWindow() override { }
    bool ask(std::string const&, std::string const&, std::string const&, std::string const&) override { return false; }
    void tearDownPresentations() override { }
    void terminate() override { }
    void exit() override { }
};

class NoKey final : public PushToTalk {
public:
    bool available() const override { return false; }
    void setKey(std::string const&) override { }
    void start() override { }
    void stop() override { }
};

class NoWorkspace final : public Workspace {
public:
    bool mayHearSystemAudio() override { return true; }
    std::shared_ptr<void> watchFrontApplication(std::function<void(std::string const&)>) override { return {}; }
    void openAnotherInstance(std::function<void()>) override { }
};

} // namespace lingrelay
