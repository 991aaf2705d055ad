#pragma once

namespace os {

/// A counting semaphore within the process. If the system cannot create it, it is invalid: `acquire` never
/// blocks.
class Semaphore {
public:
    explicit Semaphore(unsigned int initialCount);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    ~Semaphore();

    bool isValid() const { return isValid_; }
    void acquire();
    void release();

private:
    alignas(8) unsigned char storage_[32];  ///< the system's own object
    bool isValid_ = false;
};

}  // namespace os
