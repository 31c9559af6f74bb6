#pragma once

#include <string>
#include <vector>

// A host in a reports tree is known by its folder, which the collection run names after the
// inventory; the name a page claims may be another host's (a page copied by mistake, a clone).
// Both are shown, and a page whose claim does not fit its folder is flagged.
namespace CollectionName
{
// The name of the folder that holds path ("reports/h1/20260101T000000Z.html" gives "h1").
std::string Of(const std::string& path);

// Whether a page claiming hostName (and holding addresses) fits the folder it lies in. Case does
// not count, a short name fits its long form ("h1" and "h1.example.net"), and an inventory that
// names hosts by address fits a page holding that address. A page without a host name claims
// nothing and so fits.
bool Fits(const std::string& collection, const std::string& hostName,
          const std::vector<std::string>& addresses);
} // namespace CollectionName
