#pragma once

/// Another program on the same X server, which wants pointer and keyboard too.
class RivalClient {
public:
    RivalClient();
    ~RivalClient();
    RivalClient(const RivalClient&) = delete;
    RivalClient& operator=(const RivalClient&) = delete;

    /// Whether it could have them; it gives them back at once.
    bool pointerIsFree();
    bool keyboardIsFree();

    /// Takes the keyboard and keeps it; false when somebody else has it.
    bool takeKeyboard();
    void letGo();

private:
    struct Connection;
    Connection* connection_;
};
