<?xml version="1.0" encoding="UTF-8"?>
<!--
  The verification report as a page a person can read: one card per file, one card per signer,
  counter-signer and time stamp inside it, the verdict in colour, the messages in full, the
  certificate details folded away. The page carries its own style and loads nothing.

  A unit's verdict is its last "status" child, as in the report itself: a signer holding an OK
  and then a KO is KO.
-->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="html" encoding="UTF-8" indent="no"
              doctype-system="about:legacy-compat"/>

  <xsl:template match="/">
    <html lang="it">
      <head>
        <meta charset="UTF-8"/>
        <meta name="viewport" content="width=device-width, initial-scale=1"/>
        <title>Rapporto di verifica Sigilo</title>
        <style>
          body { font-family: "DejaVu Sans", Arial, sans-serif; margin: 1.5em; color: #222;
                 background: #f4f5f7; }
          h1 { font-size: 1.4em; margin: 0 0 .3em 0; }
          .summary { margin-bottom: 1em; font-size: 1.05em; }
          .card { background: #fff; border: 1px solid #ccd; border-left: 8px solid #888;
                  border-radius: 6px; padding: .7em 1em; margin: .8em 0; }
          .card .card { margin-left: .5em; }
          .card.ok { border-left-color: #1e8e3e; }
          .card.ko { border-left-color: #c5221f; }
          .card.none { border-left-color: #888; }
          .head { display: flex; justify-content: space-between; align-items: baseline;
                  gap: 1em; }
          .title { font-weight: bold; word-break: break-all; }
          .kind { color: #555; font-size: .9em; }
          .verdict { font-weight: bold; padding: .15em .7em; border-radius: 4px;
                     color: #fff; background: #888; white-space: nowrap; }
          .verdict.ok { background: #1e8e3e; }
          .verdict.ko { background: #c5221f; }
          .messages { margin: .4em 0; padding-left: 1.2em; color: #c5221f; }
          table.facts { border-collapse: collapse; margin: .4em 0; }
          table.facts td { padding: .1em .8em .1em 0; vertical-align: top; }
          table.facts td.label { color: #555; white-space: nowrap; }
          details { margin: .4em 0; }
          summary { cursor: pointer; color: #1a4f9c; }
          pre { font-size: .8em; background: #f8f8f8; padding: .5em; overflow-x: auto; }
        </style>
      </head>
      <body>
        <xsl:apply-templates select="sigilo"/>
      </body>
    </html>
  </xsl:template>

  <xsl:template match="sigilo">
    <h1>Rapporto di verifica</h1>
    <div class="summary">
      <xsl:text>Sigilo </xsl:text>
      <xsl:value-of select="@release"/>
      <xsl:text>: </xsl:text>
      <xsl:value-of select="count(.//*[status])"/>
      <xsl:text> esiti, </xsl:text>
      <xsl:value-of select="count(.//*[status][status[last()] = 'OK'])"/>
      <xsl:text> OK e </xsl:text>
      <xsl:value-of select="count(.//*[status][status[last()] != 'OK'])"/>
      <xsl:text> KO.</xsl:text>
    </div>
    <xsl:if test="status">
      <!-- The report of a run that could not start (the server out of reach). -->
      <div class="card {translate(status[last()], 'OK', 'ok')}">
        <xsl:call-template name="head">
          <xsl:with-param name="title" select="'Verifica non eseguita'"/>
          <xsl:with-param name="kind" select="''"/>
        </xsl:call-template>
        <xsl:call-template name="messages"/>
      </div>
    </xsl:if>
    <details>
      <summary>Impostazioni della verifica</summary>
      <table class="facts">
        <xsl:for-each select="@*">
          <tr><td class="label"><xsl:value-of select="name()"/></td>
              <td><xsl:value-of select="."/></td></tr>
        </xsl:for-each>
      </table>
    </details>
    <xsl:apply-templates select="signedData | timeStamp"/>
  </xsl:template>

  <!-- A file, or an inner envelope in nested mode. -->
  <xsl:template match="signedData">
    <div class="card file {translate(status[last()], 'OK', 'ok')}">
      <xsl:call-template name="head">
        <xsl:with-param name="title">
          <xsl:choose>
            <xsl:when test="@filename"><xsl:value-of select="@filename"/></xsl:when>
            <xsl:otherwise>Busta interna</xsl:otherwise>
          </xsl:choose>
        </xsl:with-param>
        <xsl:with-param name="kind" select="@filetype"/>
      </xsl:call-template>
      <xsl:call-template name="messages"/>
      <xsl:call-template name="file-attributes"/>
      <xsl:apply-templates select="signer | signedData | timeStamp"/>
    </div>
  </xsl:template>

  <xsl:template match="signer | countersigner | timeStamp | signatureTimeStamp">
    <xsl:variable name="kind">
      <xsl:choose>
        <xsl:when test="self::signer">Firmatario</xsl:when>
        <xsl:when test="self::countersigner">Controfirmatario</xsl:when>
        <xsl:otherwise>Marca temporale</xsl:otherwise>
      </xsl:choose>
    </xsl:variable>
    <div class="card unit {translate(status[last()], 'OK', 'ok')}">
      <xsl:call-template name="head">
        <xsl:with-param name="title">
          <xsl:call-template name="name">
            <xsl:with-param name="n" select="subject"/>
          </xsl:call-template>
          <xsl:if test="not(subject)">
            <xsl:text>Certificato non trovato (seriale </xsl:text>
            <xsl:value-of select="serial"/>
            <xsl:text>)</xsl:text>
          </xsl:if>
          <xsl:if test="self::timeStamp and @filename">
            <xsl:text> - </xsl:text>
            <xsl:value-of select="@filename"/>
          </xsl:if>
        </xsl:with-param>
        <xsl:with-param name="kind" select="$kind"/>
      </xsl:call-template>
      <xsl:call-template name="messages"/>
      <table class="facts">
        <xsl:if test="issuer">
          <tr><td class="label">Emesso da</td>
              <td><xsl:call-template name="name">
                    <xsl:with-param name="n" select="issuer"/>
                  </xsl:call-template></td></tr>
        </xsl:if>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'Data di firma'"/>
          <xsl:with-param name="value" select="(signedAttributes/signingTime | signingTime)[1]"/>
        </xsl:call-template>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'Data della marca'"/>
          <xsl:with-param name="value" select="timeStampDate"/>
        </xsl:call-template>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'Data di verifica'"/>
          <xsl:with-param name="value" select="verificationTime"/>
        </xsl:call-template>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'Revocato dal'"/>
          <xsl:with-param name="value" select="crlRevocationDate | ocspRevocationDate"/>
        </xsl:call-template>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'Sospeso dal'"/>
          <xsl:with-param name="value" select="crlHoldDate | ocspHoldDate"/>
        </xsl:call-template>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'CA revocata dal'"/>
          <xsl:with-param name="value" select="caCertRevoked"/>
        </xsl:call-template>
        <xsl:call-template name="date-row">
          <xsl:with-param name="label" select="'Certificato scaduto il'"/>
          <xsl:with-param name="value" select="certExpired"/>
        </xsl:call-template>
      </table>
      <xsl:call-template name="file-attributes"/>
      <xsl:if test="certificate or certNotBefore or timeStampSerial or digestAlgorithm">
        <details>
          <summary>Dettagli del certificato</summary>
          <table class="facts">
            <xsl:if test="serial">
              <tr><td class="label">Seriale</td><td><xsl:value-of select="serial"/></td></tr>
            </xsl:if>
            <xsl:call-template name="date-row">
              <xsl:with-param name="label" select="'Valido dal'"/>
              <xsl:with-param name="value" select="certNotBefore"/>
            </xsl:call-template>
            <xsl:call-template name="date-row">
              <xsl:with-param name="label" select="'Valido fino al'"/>
              <xsl:with-param name="value" select="certNotAfter"/>
            </xsl:call-template>
            <xsl:call-template name="date-row">
              <xsl:with-param name="label" select="'CRL del'"/>
              <xsl:with-param name="value" select="crlThisUpdate | ocspThisUpdate"/>
            </xsl:call-template>
            <xsl:if test="digestAlgorithm">
              <tr><td class="label">Algoritmo di digest</td>
                  <td><xsl:value-of select="digestAlgorithm"/></td></tr>
            </xsl:if>
            <xsl:if test="timeStampSerial">
              <tr><td class="label">Seriale della marca</td>
                  <td><xsl:value-of select="timeStampSerial"/></td></tr>
            </xsl:if>
            <xsl:for-each select="subject/*">
              <tr><td class="label"><xsl:value-of select="name()"/></td>
                  <td><xsl:value-of select="."/></td></tr>
            </xsl:for-each>
          </table>
          <xsl:if test="certificate">
            <pre><xsl:value-of select="certificate"/></pre>
          </xsl:if>
        </details>
      </xsl:if>
      <xsl:apply-templates select="signatureTimeStamp | countersigner | timeStamp"/>
    </div>
  </xsl:template>

  <!-- The card's first line: what it is, and its verdict. A unit without a status of its own
       (an envelope whose signers carry the verdicts) shows none. -->
  <xsl:template name="head">
    <xsl:param name="title"/>
    <xsl:param name="kind"/>
    <div class="head">
      <div>
        <div class="kind"><xsl:value-of select="$kind"/></div>
        <div class="title"><xsl:value-of select="$title"/></div>
      </div>
      <xsl:if test="status">
        <span class="verdict {translate(status[last()], 'OK', 'ok')}">
          <xsl:value-of select="status[last()]"/>
        </span>
      </xsl:if>
    </div>
  </xsl:template>

  <xsl:template name="messages">
    <xsl:if test="errorMessage">
      <ul class="messages">
        <xsl:for-each select="errorMessage">
          <li><xsl:value-of select="."/></li>
        </xsl:for-each>
      </ul>
    </xsl:if>
  </xsl:template>

  <!-- The files the engine wrote for this element: extracted content and envelopes. -->
  <xsl:template name="file-attributes">
    <xsl:if test="@content | @encapsulated | @pkcs7 | @tsr | @detachedDocument">
      <table class="facts">
        <xsl:for-each select="@content | @encapsulated | @pkcs7 | @tsr | @detachedDocument">
          <tr><td class="label"><xsl:value-of select="name()"/></td>
              <td><xsl:value-of select="."/></td></tr>
        </xsl:for-each>
      </table>
    </xsl:if>
  </xsl:template>

  <!-- A person's name from a subject: given name and surname, else the common name, else the
       organisation. -->
  <xsl:template name="name">
    <xsl:param name="n"/>
    <xsl:choose>
      <xsl:when test="$n/GIVEN and $n/SUR">
        <xsl:value-of select="concat($n/GIVEN, ' ', $n/SUR)"/>
      </xsl:when>
      <xsl:when test="$n/CN"><xsl:value-of select="$n/CN"/></xsl:when>
      <xsl:when test="$n/O"><xsl:value-of select="$n/O"/></xsl:when>
      <xsl:otherwise><xsl:value-of select="$n/*[1]"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <xsl:template name="date-row">
    <xsl:param name="label"/>
    <xsl:param name="value"/>
    <xsl:if test="$value">
      <tr><td class="label"><xsl:value-of select="$label"/></td>
          <td><xsl:call-template name="date">
                <xsl:with-param name="t" select="string($value[1])"/>
              </xsl:call-template></td></tr>
    </xsl:if>
  </xsl:template>

  <!-- "YYMMDDhhmmssZ" (years 50-99 in the 1900s) or "YYYYMMDDhhmmssZ" as "DD/MM/YYYY hh:mm:ss
       UTC"; any other text as it stands. -->
  <xsl:template name="date">
    <xsl:param name="t"/>
    <xsl:variable name="long" select="string-length($t) = 15"/>
    <xsl:choose>
      <xsl:when test="(string-length($t) = 13 or $long) and substring($t, string-length($t)) = 'Z'
                      and translate(substring($t, 1, string-length($t) - 1), '0123456789', '') = ''">
        <xsl:variable name="d" select="substring($t, 1 + 2 * $long)"/>
        <xsl:variable name="year">
          <xsl:choose>
            <xsl:when test="$long"><xsl:value-of select="substring($t, 1, 4)"/></xsl:when>
            <xsl:when test="substring($t, 1, 2) &gt;= 50">
              <xsl:value-of select="concat('19', substring($t, 1, 2))"/>
            </xsl:when>
            <xsl:otherwise><xsl:value-of select="concat('20', substring($t, 1, 2))"/></xsl:otherwise>
          </xsl:choose>
        </xsl:variable>
        <xsl:value-of select="concat(substring($d, 5, 2), '/', substring($d, 3, 2), '/', $year,
                                     ' ', substring($d, 7, 2), ':', substring($d, 9, 2), ':',
                                     substring($d, 11, 2), ' UTC')"/>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$t"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>
</xsl:stylesheet>
