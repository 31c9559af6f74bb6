#pragma once

class CConfigSpaceQuery;
class CSwitchClient;

// The process-wide daemon client that the report run shares. Every ConnectSwitchClient attaches
// it once more (the attach is reference-counted), every ReleaseSwitchClient detaches once.
CSwitchClient& SharedSwitchClient();

// Attaches the shared client (or the given one), reads the cabinet number and binds the query
// object to it with fresh code tables. On a failed attach it prints
// "\n ERROR: Tessmark Switch could not be connected" and returns false; the query object then
// stays unbound, so every query on it yields its neutral value.
bool ConnectSwitchClient(CConfigSpaceQuery& query);
bool ConnectSwitchClient(CConfigSpaceQuery& query, CSwitchClient& client);

// Detaches the client the query object was connected to (the last release closes the channel,
// disabling events first when they are on) and frees the object's code tables.
void ReleaseSwitchClient(CConfigSpaceQuery& query);
