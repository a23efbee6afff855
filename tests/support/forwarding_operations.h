#pragma once

#include "platform/files/FileOperations.h"

/// File operations that are the machine's own, for a test that changes or counts some of them; in place for as
/// long as the object lives.
class CForwardingOperations : public IFileOperations
{
  public:
    CForwardingOperations() : m_pFormer(SetFileOperations(this)) {}
    ~CForwardingOperations() override { SetFileOperations(m_pFormer); }
    CForwardingOperations(const CForwardingOperations&) = delete;
    CForwardingOperations& operator=(const CForwardingOperations&) = delete;

    int Open(const char* path, int flags, mode_t mode) override { return System().Open(path, flags, mode); }
    ssize_t Read(int file, void* buffer, std::size_t size) override
    {
        return System().Read(file, buffer, size);
    }
    ssize_t Write(int file, const void* data, std::size_t size) override
    {
        return System().Write(file, data, size);
    }
    int Stat(int file, struct stat& status) override { return System().Stat(file, status); }
    int ChangeMode(int file, mode_t mode) override { return System().ChangeMode(file, mode); }
    int Sync(int file) override { return System().Sync(file); }
    int Close(int file) override { return System().Close(file); }
    int TryLock(int file) override { return System().TryLock(file); }
    int Rename(const char* from, const char* to) override { return System().Rename(from, to); }
    int Unlink(const char* path) override { return System().Unlink(path); }

  protected:
    static IFileOperations& System() { return SystemFileOperations(); }

  private:
    IFileOperations* m_pFormer;
};
