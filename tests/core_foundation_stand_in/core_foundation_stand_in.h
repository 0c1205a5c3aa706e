#ifndef CORE_FOUNDATION_STAND_IN_H
#define CORE_FOUNDATION_STAND_IN_H

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <utility>
#include <vector>

// What a test does to the stand-in: make the objects Spotlight would hand
// back, record which paths have an item, and count every object's life.
namespace core_foundation_stand_in {

// Each maker hands over one reference, as a Create call does.
CFStringRef make_string(const std::u16string &units);
CFNumberRef make_number(double value);
CFBooleanRef make_boolean(bool value);
CFDateRef make_date(CFAbsoluteTime seconds_since_2001);
// Retains every item, as an array of CoreFoundation objects does.
CFArrayRef make_array(const std::vector<CFTypeRef> &items);
// An object of a kind no conversion knows (data, a dictionary).
CFTypeRef make_other();

// Gives path a metadata item with these attributes; the table takes over
// the references handed in.
void add_item(const std::u16string &path, const std::vector<std::pair<std::u16string, CFTypeRef>> &attributes);
// Releases the table's references and forgets every item.
void clear_items();

struct Counts
{
    int created = 0;  // objects made, by a test or a Create call
    int destroyed = 0; // objects whose last reference went
    int faults = 0;   // releases of dead or null objects, uses of dead objects

    int alive() const { return created - destroyed; }
};
Counts counts();

// Forgets every object and every item and sets the counts to zero.
void reset();

} // namespace core_foundation_stand_in

#endif // CORE_FOUNDATION_STAND_IN_H
