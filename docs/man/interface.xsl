<!-- Describes a D-Bus interface in Markdown, from its XML and the comments in it. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text" encoding="UTF-8"/>
  <xsl:strip-space elements="*"/>

  <xsl:template match="/">
    <xsl:text>&#10;## The interface </xsl:text>
    <xsl:value-of select="node/interface/@name"/>
    <xsl:text>&#10;&#10;</xsl:text>
    <xsl:value-of select="comment()[last()]"/>
    <xsl:text>&#10;&#10;</xsl:text>
    <xsl:apply-templates select="node/interface/*[not(self::annotation)]"/>
  </xsl:template>

  <xsl:template match="property|method|signal">
    <xsl:text>**</xsl:text>
    <xsl:value-of select="@name"/>
    <xsl:text>** </xsl:text>
    <xsl:choose>
      <xsl:when test="self::property">
        <xsl:value-of select="concat('property, `', @type, '`')"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:if test="self::signal">signal </xsl:if>
        <xsl:text>(</xsl:text>
        <xsl:apply-templates select="arg[not(@direction = 'out')]"/>
        <xsl:text>)</xsl:text>
        <xsl:if test="arg[@direction = 'out']"> → </xsl:if>
        <xsl:apply-templates select="arg[@direction = 'out']"/>
      </xsl:otherwise>
    </xsl:choose>
    <xsl:text>&#10;&#10;</xsl:text>
    <!-- The comment before it, unless that is the heading of a group, which is not a sentence. -->
    <xsl:variable name="comment" select="normalize-space(preceding-sibling::node()[1][self::comment()])"/>
    <xsl:if test="substring($comment, string-length($comment)) = '.'">
      <xsl:value-of select="concat(':   ', $comment)"/>
      <xsl:text>&#10;&#10;</xsl:text>
    </xsl:if>
  </xsl:template>

  <xsl:template match="arg">
    <xsl:if test="position() > 1">, </xsl:if>
    <xsl:value-of select="concat(@name, ' `', @type, '`')"/>
  </xsl:template>
</xsl:stylesheet>
