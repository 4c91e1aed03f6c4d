#include "orbelin/watch/watch_staff_member.h"

#include "orbelin/records/staff.h"
#include "watch/watch_decoding.h"

namespace orbelin {

WatchStaffMember::WatchStaffMember(const StaffMember& staffMemeber)
    : firstName(staffMemeber.firstName()),
      lastName(staffMemeber.lastName()),
      phoneNumber(staffMemeber.phoneNumber()),
      image(staffMemeber.image()),
      role(staffMemeber.role() != nullptr ? staffMemeber.role()->label() : std::string()) {}

Result<WatchStaffMember> WatchStaffMember::fromCoder(const archiving::KeyedDecoder& coder) {
  using namespace watch_decoding;
  WatchStaffMember member;
  for (auto [key, field] :
       {std::pair{"firstname", &member.firstName}, std::pair{"lastname", &member.lastName},
        std::pair{"phoneNumber", &member.phoneNumber}}) {
    auto text = requiredText(coder, key);
    if (!text) return text.error();
    *field = std::move(*text);
  }
  auto image = optionalText(coder, "image");
  if (!image) return image.error();
  member.image = std::move(*image);
  auto role = requiredText(coder, "role");
  if (!role) return role.error();
  member.role = std::move(*role);
  return member;
}

void WatchStaffMember::encodeWithCoder(archiving::KeyedEncoder& coder) const {
  coder.encodeText(firstName, "firstname");
  coder.encodeText(lastName, "lastname");
  coder.encodeText(phoneNumber, "phoneNumber");
  coder.encodeText(image, "image");
  coder.encodeText(role, "role");
}

}  // namespace orbelin
