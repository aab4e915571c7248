// An ordered list of unload subscribers. Nodes come from a pool that grows
// in blocks of ten and is freed whole when the list becomes empty. Every
// entry owns one reference.
#pragma once

#include <memory>
#include <vector>

#include "interfaces/module.h"

class SubscriberList
{
public:
    static constexpr size_t BlockSize = 10;

    SubscriberList() = default;
    SubscriberList(const SubscriberList &other);
    ~SubscriberList() { clear(); }
    SubscriberList &operator=(const SubscriberList &) = delete;

    bool contains(IzkModuleSubscriber *subscriber) const;
    // Appends at the tail, taking a reference unless null.
    void append(IzkModuleSubscriber *subscriber);
    // Unlinks the first identical entry and releases it; false when absent.
    bool remove(IzkModuleSubscriber *subscriber);
    void clear();
    bool empty() const { return !head; }
    size_t blockCount() const { return blocks.size(); }

    template <typename Function>
    void forEach(Function &&function) const
    {
        for (const Node *node = head; node; node = node->next)
            function(node->subscriber);
    }

private:
    struct Node {
        IzkModuleSubscriber *subscriber = nullptr;
        Node *previous = nullptr;
        Node *next = nullptr;
    };

    Node *takeNode();
    void giveBack(Node *node);

    Node *head = nullptr;
    Node *tail = nullptr;
    Node *freeNodes = nullptr;
    std::vector<std::unique_ptr<Node[]>> blocks;
};
