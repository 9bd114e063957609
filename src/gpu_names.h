#pragma once

#include <string>
#include <string_view>

/// The name to show for a graphics device: makers in their short form, without the revision; boards that the
/// device database lists only by number get the name they are sold under.
std::string shortenGPUName(std::string name);

/// Whether a PCI slot as the kernel writes it ("0000:03:00.0") can be handed to lspci: hex digits, ':' and
/// '.' only.
bool isPciSlot(std::string_view slot);

/// The device in the first line that lspci prints for a slot ("03:00.0 VGA compatible controller: Maker
/// Device (rev c8)"): what follows the last ": ", or the whole line without one. Empty for an empty answer.
std::string nameFromLspci(std::string_view output);
