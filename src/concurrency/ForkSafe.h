#ifndef ZT_FORKSAFE_H
#define ZT_FORKSAFE_H

namespace ZT {

/// Whether fork() made this process, since the library was loaded.
bool isForkedChild();

/// One of Boost's primitives, which a child made by fork() does not destroy: there it still counts
/// the parent's threads that wait on it or hold it, and destroying it would wait for them.
template <class Primitive>
class ForkSafe {
public:
    ForkSafe() : primitive() {}

    ~ForkSafe()
    {
        if (!isForkedChild()) {
            primitive.~Primitive();
        }
    }

    ForkSafe(const ForkSafe&) = delete;
    ForkSafe& operator=(const ForkSafe&) = delete;

    Primitive& operator*() { return primitive; }
    Primitive* operator->() { return &primitive; }

private:
    union {
        Primitive primitive;
    };
};

} // namespace ZT

#endif
