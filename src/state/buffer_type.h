#pragma once

// The buffer type as one thread sees it.

namespace trellis {

/// As long as it lives, `inq_buffer_type_trellis` answers `type` in the thread that made it. No
/// other thread notices, and no other thread's setter changes it.
class BufferTypeScope {
  public:
    explicit BufferTypeScope(int type);
    ~BufferTypeScope();
    BufferTypeScope(const BufferTypeScope&) = delete;
    BufferTypeScope& operator=(const BufferTypeScope&) = delete;

    int type() const { return type_; }

  private:
    int type_;
    const BufferTypeScope* outer_;
};

}  // namespace trellis
