#include "module/subscriberlist.h"

#include "runtime/errors.h"

SubscriberList::SubscriberList(const SubscriberList &other)
{
    // Running out of memory while copying is raised as E_OUTOFMEMORY.
    try {
        other.forEach([this](IzkModuleSubscriber *subscriber) { append(subscriber); });
    } catch (const std::bad_alloc &) {
        clear();
        ThrowHResult(E_OUTOFMEMORY);
    }
}

bool SubscriberList::contains(IzkModuleSubscriber *subscriber) const
{
    for (const Node *node = head; node; node = node->next) {
        if (node->subscriber == subscriber)
            return true;
    }
    return false;
}

SubscriberList::Node *SubscriberList::takeNode()
{
    if (!freeNodes) {
        blocks.push_back(std::make_unique<Node[]>(BlockSize));
        Node *block = blocks.back().get();
        for (size_t i = 0; i < BlockSize; ++i) {
            block[i].next = freeNodes;
            freeNodes = &block[i];
        }
    }
    Node *node = freeNodes;
    freeNodes = node->next;
    *node = Node{};
    return node;
}

void SubscriberList::giveBack(Node *node)
{
    node->subscriber = nullptr;
    node->previous = nullptr;
    node->next = freeNodes;
    freeNodes = node;
}

void SubscriberList::append(IzkModuleSubscriber *subscriber)
{
    Node *node = takeNode();
    node->subscriber = subscriber;
    node->previous = tail;
    if (tail)
        tail->next = node;
    else
        head = node;
    tail = node;
    if (subscriber)
        subscriber->AddRef();
}

bool SubscriberList::remove(IzkModuleSubscriber *subscriber)
{
    for (Node *node = head; node; node = node->next) {
        if (node->subscriber != subscriber)
            continue;
        (node->previous ? node->previous->next : head) = node->next;
        (node->next ? node->next->previous : tail) = node->previous;
        giveBack(node);
        if (!head) {
            freeNodes = nullptr;
            blocks.clear();
        }
        if (subscriber)
            subscriber->Release();
        return true;
    }
    return false;
}

void SubscriberList::clear()
{
    while (head) {
        Node *node = head;
        head = node->next;
        if (node->subscriber)
            node->subscriber->Release();
    }
    tail = nullptr;
    freeNodes = nullptr;
    blocks.clear();
}
