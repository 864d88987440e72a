static_assert(__cplusplus == 201402L, "compiled as C++14");
