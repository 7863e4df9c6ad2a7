#include "JsErrors.hpp"

#include <new>
#include <string>

#include "AddonData.hpp"
#include "receipts/FatalEdge.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantonode {

namespace {

const char* kindName(vantoconnect::VantoError::Kind kind) {
    switch (kind) {
        case vantoconnect::VantoError::Kind::PRINTER_NOT_RESPONDING:
            return "PRINTER_NOT_RESPONDING";
        case vantoconnect::VantoError::Kind::CONNECTION_LOST:
            return "CONNECTION_LOST";
        case vantoconnect::VantoError::Kind::CANCELLED:
            return "CANCELLED";
        case vantoconnect::VantoError::Kind::GENERIC:
            break;
    }
    return "GENERIC";
}

Napi::Error made(Napi::Env env, Napi::FunctionReference& cls, const std::string& message,
                 Napi::Object fields) {
    if (cls.IsEmpty()) {
        return Napi::Error::New(env, message);
    }
    return Napi::Error(env, cls.New({Napi::String::New(env, message), fields}));
}

}  // namespace

Napi::Error JsErrors::vantoError(Napi::Env env, const vantoconnect::VantoError& error,
                                 Napi::Value report) {
    auto& data = AddonData::of(env);
    const bool dropped = error.kind() == vantoconnect::VantoError::Kind::PRINTER_NOT_RESPONDING;
    Napi::Object fields = Napi::Object::New(env);
    fields.Set("code", kindName(error.kind()));
    fields.Set("description", error.description());
    fields.Set("report", report);
    return made(env, dropped ? data.printerNotRespondingError : data.vantoError, error.message(),
                fields);
}

Napi::Error JsErrors::from(Napi::Env env, std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const Napi::Error& e) {
        return e;
    } catch (const vantoreceipts::ReceiptInputError& e) {
        return Napi::RangeError::New(env, e.what());
    } catch (const vantoconnect::Image::Error& e) {
        return Napi::RangeError::New(env, e.what());
    } catch (const vantoconnect::VantoError& e) {
        return vantoError(env, e, env.Undefined());
    } catch (const vantoconnect::FatalError& e) {
        return made(env, AddonData::of(env).fatalError, vantoreceipts::FatalEdge::explain(e.what()),
                    Napi::Object::New(env));
    } catch (const std::bad_alloc&) {
        return Napi::Error::New(env, "out of memory");
    } catch (const std::exception& e) {
        return Napi::Error::New(env, e.what());
    } catch (...) {
        return Napi::Error::New(env, "an unknown exception");
    }
}

}  // namespace vantonode
