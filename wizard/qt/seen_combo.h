#pragma once
// Drop-down lists as assistive programs see them: called by their own names. The toolkit calls a
// list by the entry that is chosen in it, so that nobody hears what the choice is about.

namespace kelvorin::wizard::qt {

/// From now on the lists of all our windows tell their accessible name, and the chosen entry as
/// their value. A second call changes nothing.
void SeeComboNames();

}  // namespace kelvorin::wizard::qt
