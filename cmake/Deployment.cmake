# The settings that a deployment builds into the library: the certificate that verifies configuration documents, and
# the endpoints of both sets of servers. They go into the generated header KIVBuildConfig.h, which only the library's
# sources include.

# Declares the CMake option `name` for an endpoint, and stops the configuration when its value is no usable URL.
function(kiv_endpoint name default description)
    set(${name} ${default} CACHE STRING ${description})
    if(NOT ${name} MATCHES "^https?://[A-Za-z0-9._~:/?#@!$&'()*+,=%-]*[^/]$")
        message(FATAL_ERROR "${name} is \"${${name}}\": it must be an http or https URL that does not end in a slash.")
    endif()
endfunction()

# Declares the six endpoints of the servers that are used for one form of SDK key.
function(kiv_endpoint_set set domain title)
    kiv_endpoint(KIV_${set}_CDN_GET_CONFIG_URL https://config.${domain} "${title}: configuration CDN")
    kiv_endpoint(KIV_${set}_API_GET_CONFIG_URL https://api.${domain}/device/get_configuration
                 "${title}: configuration API")
    kiv_endpoint(KIV_${set}_CDN_SEND_STATE_URL https://state.${domain} "${title}: state CDN")
    kiv_endpoint(KIV_${set}_API_SEND_STATE_URL https://api.${domain}/device/update_state_store "${title}: state API")
    kiv_endpoint(KIV_${set}_ANALYTICS_URL https://analytics.${domain} "${title}: analytics")
    kiv_endpoint(KIV_${set}_PUSH_URL https://push.${domain}/sse "${title}: push stream")
endfunction()

kiv_endpoint_set(LEGACY kiv.example "Keys of 24 hexadecimal digits")
kiv_endpoint_set(PLATFORM platform.kiv.example "Keys in the form of a UUID")

set(KIV_SIGNING_CERTIFICATE ${CMAKE_CURRENT_LIST_DIR}/signing-certificate.txt
    CACHE FILEPATH "File with the certificate of the configuration service: base64 of its DER form, on one line")

# Sets the variable `out` to the text of the certificate in the file. Stops the configuration when the library could not
# use the certificate.
function(kiv_read_certificate path out)
    set(refusal "KIV_SIGNING_CERTIFICATE is \"${path}\"")
    if(NOT EXISTS ${path} OR IS_DIRECTORY ${path})
        message(FATAL_ERROR "${refusal}: there is no such file.")
    endif()
    file(READ ${path} text)
    string(REGEX REPLACE "\r?\n$" "" text "${text}")
    if(NOT text MATCHES "^[A-Za-z0-9+/]+=?=?$")
        message(FATAL_ERROR "${refusal}: it must hold the base64 text of a certificate's DER form on a single line "
                            "(make it with: openssl x509 -in certificate.pem -outform DER | openssl base64 -A).")
    endif()
    find_program(KIV_OPENSSL openssl REQUIRED)
    mark_as_advanced(KIV_OPENSSL)
    execute_process(
        COMMAND ${KIV_OPENSSL} base64 -d -A -in ${path}
        COMMAND ${KIV_OPENSSL} x509 -inform DER -noout -text
        OUTPUT_VARIABLE description ERROR_QUIET RESULTS_VARIABLE results)
    if(NOT results STREQUAL "0;0")
        message(FATAL_ERROR "${refusal}: what it holds is not the base64 text of an X.509 certificate's DER form.")
    endif()
    if(NOT description MATCHES "Public Key Algorithm: rsaEncryption")
        message(FATAL_ERROR "${refusal}: documents are signed with RSA, and this certificate's key is of another kind.")
    endif()
    set(${out} ${text} PARENT_SCOPE)
endfunction()

cmake_path(ABSOLUTE_PATH KIV_SIGNING_CERTIFICATE BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE kiv_certificate)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${kiv_certificate})
kiv_read_certificate(${kiv_certificate} KIV_SIGNING_CERTIFICATE_TEXT)

set(KIV_GENERATED_DIR ${PROJECT_BINARY_DIR}/generated)
configure_file(${CMAKE_CURRENT_LIST_DIR}/KIVBuildConfig.h.in ${KIV_GENERATED_DIR}/KIVBuildConfig.h @ONLY)
