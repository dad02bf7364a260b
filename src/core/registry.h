// The driver registry that streams, image files and effects share.
//
// Drivers of every kind are static records, owned by their modules, that the
// application registers at start-up into a singly linked list through the
// record's `next` field; the head is the newest, so searches meet the most
// recently registered driver first.  Each record's `hash` is hash_string of
// its `name`, a fingerprint that must be unique among the registered drivers.
//
// `add` makes the checks every kind makes, in this order, before the driver
// is linked in: a driver already registered, or one with the same name, is
// the warning "trying to register duplicate driver '%s'" and stays out; a
// registered driver of another name with the same hash is the error "driver
// hash collision between '%s' and '%s'" (the registered one's name, then the
// new one's) and the new one stays out.  The kind's own checks follow as the
// `admit` hook.  Reports carry the registering module's origin.
//
// `list` prints the kind's text for an empty registry, or each driver through
// the kind's printer, numbered from the kind's first number; standard output
// is flushed after each.
#pragma once

#include "core/hash.h"
#include "core/message.h"
#include "core/xstring.h"

#include <cstdio>

template <class Driver> class driver_registry {
  public:
    Driver *first() const { return head_; }
    // Forgets every driver (the records stay as they are).
    void clear() { head_ = nullptr; }

    bool contains(const Driver *driver) const {
        return find([&](const Driver *known) { return known == driver; }) != nullptr;
    }

    // True when the driver was linked in.  `admit(driver)` runs after the
    // shared checks, with the hash set; false keeps the driver out.
    template <class Admit> bool add(const message_origin &origin, Driver *driver, Admit admit) {
        for (Driver *known = head_; known; known = known->next) {
            if (known == driver || xstring_compare(known->name, driver->name)) {
                xwarning(origin.source_file, origin.line, origin.source_ident,
                         "trying to register duplicate driver '%s'", driver->name);
                return false;
            }
        }
        driver->hash = hash_string(driver->name);
        for (Driver *known = head_; known; known = known->next) {
            if (known->hash == driver->hash) {
                xerror(origin.source_file, origin.line, origin.source_ident,
                       "driver hash collision between '%s' and '%s'", known->name, driver->name);
                return false;
            }
        }
        if (!admit(driver))
            return false;
        driver->next = head_;
        head_ = driver;
        return true;
    }
    bool add(const message_origin &origin, Driver *driver) {
        return add(origin, driver, [](Driver *) { return true; });
    }

    // The first driver, newest first, that `accept` takes; null when none.
    template <class Accept> Driver *find(Accept accept) const {
        for (Driver *driver = head_; driver; driver = driver->next)
            if (accept(static_cast<const Driver *>(driver)))
                return driver;
        return nullptr;
    }
    // The first driver whose name and `name` match as two-way wildcards.
    Driver *find_name(const char *name) const {
        if (!name)
            return nullptr;
        return find([&](const Driver *driver) { return xstring_match(driver->name, name); });
    }

    template <class Print> void list(const char *empty, int first_number, Print print) const {
        if (!head_) {
            std::printf("%s", empty);
            std::fflush(stdout);
            return;
        }
        int number = first_number;
        for (const Driver *driver = head_; driver; driver = driver->next, ++number) {
            print(driver, number);
            std::fflush(stdout);
        }
    }

  private:
    Driver *head_ = nullptr;
};
