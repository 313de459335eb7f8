# Puts the system's CA bundle where programs in bin/ look for it: Frameworks/cacert.pem beside bin/,
# in the build tree and in the installation.
function(b2_install_ca_bundle)
  find_file(B2_CA_BUNDLE
    NAMES ca-certificates.crt cert.pem ca-bundle.crt
    PATHS /etc/ssl/certs /etc/ssl /etc/pki/tls/certs /opt/homebrew/etc/ca-certificates
      /usr/local/etc/ca-certificates
    NO_DEFAULT_PATH REQUIRED
    DOC "CA certificates in PEM form that b2drive trusts")
  configure_file(${B2_CA_BUNDLE} ${PROJECT_BINARY_DIR}/Frameworks/cacert.pem COPYONLY)
  install(FILES ${B2_CA_BUNDLE} DESTINATION Frameworks RENAME cacert.pem)
endfunction()
