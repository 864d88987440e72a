#pragma once

namespace tovik::ftp {

/// How the server delivers its bytes, counted over a whole session: those of the control connection, and those of all
/// data connections.
struct Delivery {
  enum class Kind { whole, bytewise, splitControl, splitData, cutControl, cutData };
  Kind kind = Kind::whole;
  long at = 0;         // the split or cut is before the byte of this number
  bool reset = false;  // a cut without a farewell

  bool cuts() const { return kind == Kind::cutControl || kind == Kind::cutData; }
};

}  // namespace tovik::ftp
