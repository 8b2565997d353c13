// Signs an XML document with xadesjs (XAdES-BES), for the verifier's tests.
// Usage: node sign_xades.js IN OUT KEY CERT [options as JSON]
//   options: hash ("SHA-256" or "SHA-1"), signingCert (PEM file named in SigningCertificate),
//   keyInfoRef (true: a reference covers KeyInfo), counterOf (sign the SignatureValue of the
//   first Signature of IN as a counter-signature and put it in its unsigned properties),
//   uri (sign the element of that "#Id" instead of the whole document).
const fs = require("fs");
const xmldom = require("@xmldom/xmldom");
const xpath = require("xpath");
const xadesjs = require("xadesjs");
const { webcrypto } = require("crypto");

xadesjs.setNodeDependencies({
  XMLSerializer: xmldom.XMLSerializer,
  DOMParser: xmldom.DOMParser,
  DOMImplementation: xmldom.DOMImplementation,
  xpath,
});
xadesjs.Application.setEngine("NodeJS", webcrypto);

function pemBody(text) {
  return text.replace(/-----[^-]+-----/g, "").replace(/\s+/g, "");
}

async function main() {
  const [input, output, keyFile, certFile, optionText] = process.argv.slice(2);
  const options = optionText ? JSON.parse(optionText) : {};
  const hash = options.hash || "SHA-256";
  const alg = { name: "RSASSA-PKCS1-v1_5", hash };
  const keyDer = Buffer.from(pemBody(fs.readFileSync(keyFile, "utf8")), "base64");
  const key = await webcrypto.subtle.importKey("pkcs8", keyDer, alg, false, ["sign"]);
  const cert = pemBody(fs.readFileSync(certFile, "utf8"));
  const named = options.signingCert ? pemBody(fs.readFileSync(options.signingCert, "utf8")) : cert;
  const doc = xadesjs.Parse(fs.readFileSync(input, "utf8"));
  const signedXml = new xadesjs.SignedXml();
  const id = options.id || "firma-1";
  signedXml.XmlSignature.Id = id;
  signedXml.XmlSignature.SignedInfo.CanonicalizationMethod.Algorithm =
    "http://www.w3.org/2001/10/xml-exc-c14n#";
  let references = [{ uri: "", hash, transforms: ["enveloped", "exc-c14n"] }];
  if (options.uri) references = [{ uri: options.uri, hash, transforms: ["exc-c14n"] }];
  let target = doc;
  let parentValue = null;
  if (options.counterOf) {
    parentValue = doc.getElementsByTagNameNS("http://www.w3.org/2000/09/xmldsig#", "SignatureValue")[0];
    if (!parentValue.getAttribute("Id")) parentValue.setAttribute("Id", "valore-firma-1");
    references = [{ uri: "#" + parentValue.getAttribute("Id"), hash, transforms: ["exc-c14n"],
                    type: "http://uri.etsi.org/01903#CountersignedSignature" }];
    // xadesjs does not resolve an Id inside another signature, so it digests a copy of the
    // SignatureValue on its own; in exclusive canonical form the copy reads as the original.
    // The copy declares the namespaces in force where the counter-signature will stand, so
    // that its signed properties (in inclusive canonical form) digest as they will read there.
    let copy = new xmldom.XMLSerializer().serializeToString(parentValue);
    copy = copy.replace(/ xmlns(:ds)?="[^"]*"/g, "");
    const defaultNs = doc.documentElement.getAttribute("xmlns");
    copy = copy.replace("<ds:SignatureValue", '<ds:SignatureValue xmlns:ds="http://www.w3.org/2000/09/xmldsig#"' +
      (defaultNs ? ' xmlns="' + defaultNs + '"' : ""));
    target = xadesjs.Parse(copy);
  }
  if (options.keyInfoRef) {
    signedXml.XmlSignature.KeyInfo.Id = id + "-keyinfo";
    references.push({ uri: "#" + id + "-keyinfo", hash, transforms: ["exc-c14n"] });
  }
  const signature = await signedXml.Sign(alg, key, target, {
    x509: [cert],
    references,
    signingCertificate: { certificate: named, digestAlgorithm: hash },
    signingTime: { value: new Date(options.signingTime || "2024-03-01T10:00:00Z") },
  });
  let xml = signature.GetXml();
  if (options.counterOf) {
    const sig = parentValue.parentNode;
    const ns = "http://uri.etsi.org/01903/v1.3.2#";
    const qp = sig.getElementsByTagNameNS(ns, "QualifyingProperties")[0];
    let up = qp.getElementsByTagNameNS(ns, "UnsignedProperties")[0];
    if (!up) { up = doc.createElementNS(ns, "xades:UnsignedProperties"); qp.appendChild(up); }
    let usp = up.getElementsByTagNameNS(ns, "UnsignedSignatureProperties")[0];
    if (!usp) { usp = doc.createElementNS(ns, "xades:UnsignedSignatureProperties"); up.appendChild(usp); }
    const cs = doc.createElementNS(ns, "xades:CounterSignature");
    usp.appendChild(cs);
    cs.appendChild(xml);
  } else {
    doc.documentElement.appendChild(xml);
  }
  fs.writeFileSync(output, new xmldom.XMLSerializer().serializeToString(doc));
}

main().catch((e) => { console.error(e); process.exit(1); });
