#pragma once

namespace soak {

// The kernel keeps the ports of ended connections for a minute, and a soak ends more of them than there are ports.

/// Takes the process out of the machine's network into one that has nothing but a loopback interface, so that it uses
/// up nobody else's ports. Without the right to do so it stays where it is. For a process of one thread.
void leaveTheNetwork();

/// Waits while half of the ports are kept. Throws std::runtime_error when that lasts for minutes.
void awaitPorts();

}  // namespace soak
