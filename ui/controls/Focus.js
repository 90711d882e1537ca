.pragma library

/// Gives the keyboard to an item for that reason, by which it shows a ring or none. A popup that closes may have given it
/// back already, for a reason of its own, which would then stand.
function giveBack(item, reason) {
    item.forceActiveFocus(reason);
    if (item.focusReason !== undefined)
        item.focusReason = reason;
}
